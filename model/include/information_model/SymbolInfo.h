#pragma once

#include <information_model/SymbolList.h>
#include <information_model/export.h>

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

namespace kx::information_model {

/// An enumerated value: a current number together with the symbol list that names the allowed ones.
///
/// A plain value that always has a list: copies share an immutable state, and a setter gives this
/// value a state of its own. Copying never throws.
class KX_INFORMATION_MODEL_EXPORT SymbolInfo {
public:
    /// The state behind a `SymbolInfo`, without its enumeration's type.
    class KX_INFORMATION_MODEL_EXPORT Concept {
    public:
        virtual ~Concept();
        /// @cond
        virtual std::unique_ptr<Concept> clone() const = 0;
        virtual std::uint32_t get_value() const noexcept = 0;
        virtual void set_value(unsigned int position) = 0;
        virtual void set_value(const std::string& name) = 0;
        virtual const std::string& get_list_name() const = 0;
        virtual const std::vector<symbol_list::Symbol>& get_symbols() const = 0;
        /// @endcond

    protected:
        Concept() = default;
        Concept(const Concept&) = default;
        Concept& operator=(const Concept&) = default;
    };

    /// The state for the enumeration `E`, whose list is `symbol_list::SymbolList<E>`.
    template <class E>
    class Model;

    /// Starts at `symbol`.
    /// @throws std::invalid_argument  "Unknown symbol value." if the list of `E` has no such value
    template <class E>
    requires std::is_enum_v<E>
    explicit SymbolInfo(E symbol);

    SymbolInfo(const SymbolInfo&) noexcept = default;
    SymbolInfo& operator=(const SymbolInfo&) noexcept = default;
    ~SymbolInfo() = default;

    /// The current value.
    std::uint32_t get_value() const noexcept { return state_->get_value(); }

    /// Sets the value at a position of the list.
    /// @throws std::invalid_argument  "Unknown symbol value." if the list has no such position; the value
    ///                                is then unchanged
    void set_value(unsigned int position);

    /// Sets the value of the symbol with this name, compared exactly.
    /// @throws std::invalid_argument  "Unknown symbol name." if the list has no such name; the value is
    ///                                then unchanged
    void set_value(const std::string& name);

    /// The name of the current value's symbol.
    const std::string& get_name() const;

    /// The symbols, in the list's order.
    const std::vector<symbol_list::Symbol>& get_symbols() const { return state_->get_symbols(); }

    /// The name of the list.
    const std::string& get_list_name() const { return state_->get_list_name(); }

    /// Sets the first symbol of the list.
    void reset() { set_value(0U); }

    /// Whether both belong to a list of the same name and have the same value.
    KX_INFORMATION_MODEL_EXPORT friend bool operator==(const SymbolInfo& left, const SymbolInfo& right);

private:
    std::shared_ptr<const Concept> state_;
};

namespace symbol_list {

/// The value at `position` of `symbols`.
/// @throws std::invalid_argument  "Unknown symbol value." if there is no such position
KX_INFORMATION_MODEL_EXPORT std::uint32_t get_value_at(const std::vector<Symbol>& symbols,
                                                       unsigned int position);

/// The value of the first symbol called `name`, compared exactly.
/// @throws std::invalid_argument  "Unknown symbol name." if there is none
KX_INFORMATION_MODEL_EXPORT std::uint32_t get_value_of(const std::vector<Symbol>& symbols,
                                                       const std::string& name);

/// The number that stands for an enumerator in a list.
/// @throws std::invalid_argument  "Unknown symbol value." if it needs more than 32 bits, so that no list has
/// it
template <class E>
requires std::is_enum_v<E> std::uint32_t to_symbol_value(E symbol) {
    using Number = std::underlying_type_t<E>;
    const auto value = static_cast<std::uint32_t>(symbol);
    if constexpr (sizeof(Number) > sizeof(value)) {
        if (static_cast<Number>(value) != static_cast<Number>(symbol)) {
            throw std::invalid_argument("Unknown symbol value.");
        }
    }
    return value;
}

/// The symbol whose value is `value`.
/// @throws std::invalid_argument  "Unknown symbol value." if there is none
KX_INFORMATION_MODEL_EXPORT const Symbol& get_symbol(const std::vector<Symbol>& symbols, std::uint32_t value);

}  // namespace symbol_list

/// @cond
template <class E>
class SymbolInfo::Model final : public SymbolInfo::Concept {
public:
    using List = symbol_list::SymbolList<E>;

    explicit Model(E symbol)
        : value_(symbol_list::get_symbol(List::get_symbols(), symbol_list::to_symbol_value(symbol)).value) {}

    std::unique_ptr<Concept> clone() const override { return std::make_unique<Model>(*this); }
    std::uint32_t get_value() const noexcept override { return value_; }
    void set_value(unsigned int position) override {
        value_ = symbol_list::get_value_at(List::get_symbols(), position);
    }
    void set_value(const std::string& name) override {
        value_ = symbol_list::get_value_of(List::get_symbols(), name);
    }
    const std::string& get_list_name() const override { return List::get_list_name(); }
    const std::vector<symbol_list::Symbol>& get_symbols() const override { return List::get_symbols(); }

private:
    std::uint32_t value_;
};
/// @endcond

template <class E>
requires std::is_enum_v<E> SymbolInfo::SymbolInfo(E symbol) : state_(std::make_shared<Model<E>>(symbol)) {}

}  // namespace kx::information_model
