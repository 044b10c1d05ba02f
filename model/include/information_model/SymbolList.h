#pragma once

#include <cstdint>
#include <string>

namespace kx::information_model::symbol_list {

/// One entry of a symbol list.
struct Symbol {
    std::uint32_t value;      ///< the number of the symbol in a variable
    std::string name;         ///< the name shown to people
    std::string description;  ///< may be empty
};

/// The symbols of the enumeration `E`. For an enumeration of its own, a host specialises it:
///
/// @code
/// template <>
/// struct kx::information_model::symbol_list::SymbolList<Mode> {
///     static const std::string& get_list_name() {
///         static const std::string LIST_NAME = "plant.Mode";
///         return LIST_NAME;
///     }
///     static const std::vector<Symbol>& get_symbols() {
///         static const std::vector<Symbol> SYMBOLS = {{0, "off", ""}, {1, "automatic", ""}};
///         return SYMBOLS;
///     }
/// };
/// @endcode
///
/// The list must not be empty. Its values may differ from its positions, but a client writes a position and
/// reads a value: if clients write the variable, use the positions as values.
template <class E>
struct SymbolList;

}  // namespace kx::information_model::symbol_list
