#pragma once

#include <cstdint>
#include <string>

namespace kx::information_model::symbol_list {

/// One entry of a symbol list.
struct Symbol {
    std::uint32_t value;      ///< the number that stands for the symbol in a variable
    std::string name;         ///< the name shown to people
    std::string description;  ///< may be empty
};

/// The symbols of the enumeration `E`. A host makes its own enumeration known by specialising it:
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
/// The list must not be empty. Its values need not be positions, but a client writes a position and reads
/// a value: only lists whose values are their positions make the round trip.
template <class E>
struct SymbolList;

}  // namespace kx::information_model::symbol_list
