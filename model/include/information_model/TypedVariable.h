#pragma once

#include <information_model/SymbolInfo.h>
#include <information_model/TimePoint.h>
#include <information_model/Value.h>
#include <information_model/Variable.h>
#include <information_model/exceptions.h>
#include <information_model/symbol_lists.h>

#include <concepts>
#include <limits>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

namespace kx::information_model {

/// An enumeration with a `symbol_list::SymbolList`.
template <class T>
concept ListedEnumeration = std::is_enum_v<T> && requires {
    { symbol_list::SymbolList<T>::get_list_name() } -> std::convertible_to<const std::string&>;
    {
        symbol_list::SymbolList<T>::get_symbols()
        } -> std::convertible_to<const std::vector<symbol_list::Symbol>&>;
};

/// The types of variables: a scalar that a `Value` holds, a vector of one, or an enumeration with a
/// `symbol_list::SymbolList`.
template <class T>
concept VariableContent = ValueAlternative<T> || ListedEnumeration<T>;

namespace detail {

template <class T>
constexpr bool IS_NUMBER = std::is_arithmetic_v<T> && !std::is_same_v<T, bool> && !std::is_same_v<T, char> &&
                           !std::is_same_v<T, wchar_t> && !std::is_same_v<T, char8_t> &&
                           !std::is_same_v<T, char16_t> && !std::is_same_v<T, char32_t>;

template <class From, class To>
constexpr bool is_number_kept() noexcept {
    using FromLimits = std::numeric_limits<From>;
    using ToLimits = std::numeric_limits<To>;
    if constexpr (std::is_floating_point_v<From> && !std::is_floating_point_v<To>) {
        return false;
    } else {
        return FromLimits::digits <= ToLimits::digits && (ToLimits::is_signed || !FromLimits::is_signed);
    }
}

template <class From, class To>
constexpr bool is_kept() noexcept {
    if constexpr (std::is_same_v<From, To>) {
        return true;
    } else if constexpr (IS_NUMBER<From> && IS_NUMBER<To>) {
        return is_number_kept<From, To>();
    } else if constexpr (std::is_arithmetic_v<To> || std::is_enum_v<To> || std::is_null_pointer_v<From>) {
        return false;
    } else {
        return std::is_convertible_v<const From&, To>;
    }
}

}  // namespace detail

/// Whether every `From` becomes a `To` without loss: int a double, but neither double a float nor int a
/// short, and a text nothing but a text.
template <class From, class To>
concept KeptBy = detail::is_kept<std::decay_t<From>, To>();

namespace detail {

/// A `T`, or none, for `TypedVariable::Update`: takes what becomes a `T` without loss; no NewValue does.
template <class T>
class NewValue {
public:
    NewValue() = default;
    template <class Other>
    requires KeptBy<Other, T> NewValue(Other&& value)  // NOLINT(bugprone-forwarding-reference-overload)
        : value_(std::forward<Other>(value)) {}        // NOLINT(google-explicit-constructor)
    NewValue(T value) : value_(std::move(value)) {}    // NOLINT(google-explicit-constructor)
    /// Does not compile: `Other` does not become a `T` without loss.
    template <class Other>
    requires(!KeptBy<Other, T> && !std::is_same_v<Other, NewValue>) NewValue(const Other& value)
    = delete;  // NOLINT(google-explicit-constructor)

    std::optional<T>& get() noexcept { return value_; }

private:
    std::optional<T> value_;
};

}  // namespace detail

/// A handle of a variable that knows the type at compile time: reads and writes without a cast.
///
/// The size of a pointer, copied freely, and valid as long as the variable; copying a handle, also by
/// assignment, copies no value. A constant handle writes as well, as a constant pointer does. Each function
/// needs the tree lock as that of `Variable` does, whose observers, timestamps and lock checks it shares.
///
/// Arguments of another type are converted where nothing can be lost; anything else does not compile. Write
/// `short{5}` for a `TypedVariable<short>`, since 5 is an int.
template <VariableContent T>
class TypedVariable {
public:
    /// What `update` changes.
    struct Update {
        detail::NewValue<T> value = {};                    ///< absent: stays
        std::optional<symbol_list::QUALITY> quality = {};  ///< absent: stays
        std::optional<TimePoint> timestamp = {};           ///< absent: the current time, if there is a value
    };

    /// A scalar as it is, anything larger as a reference that is valid while the lock is held.
    using Result = std::conditional_t<std::is_trivially_copyable_v<T>, T, const T&>;

    /// @throws BadValueTypeException  if the variable is of another type, or of another symbol list
    explicit TypedVariable(Variable& variable) : variable_(&variable) {
        if (!is_typed(variable)) {
            detail::throw_other_type(variable, get_type());
        }
    }

    /// The handle of a variable, nothing if it is null or of another type.
    static std::optional<TypedVariable> create(Variable* variable) {
        if (variable == nullptr || !is_typed(*variable)) {
            return std::nullopt;
        }
        return TypedVariable(*variable, Checked());
    }

    /// The current value.
    Result get() const noexcept {
        if constexpr (std::is_enum_v<T>) {
            return static_cast<T>(get_content<SymbolInfo>().get_value());
        } else {
            return get_content<T>();
        }
    }

    /// Sets value and timestamp and calls all observers, as `Variable::operator=` does.
    /// @throws std::invalid_argument  if `value` is an enumerator that its list lacks
    void set(T value) const {
        variable_->set_value(to_value(std::move(value)), CALLBACK_RESTRAIN::UNRESTRAINED, true);
    }
    /// Does not compile: `Other` does not become a `T` without loss.
    template <class Other>
    requires(!KeptBy<Other, T>) void set(const Other& value) const = delete;

    /// As `set`.
    const TypedVariable& operator=(T value) const {
        set(std::move(value));
        return *this;
    }
    /// Does not compile: `Other` does not become a `T` without loss.
    template <class Other>
    requires(!KeptBy<Other, T> && !std::is_same_v<Other, TypedVariable>) const TypedVariable& operator=(
        const Other& value) const = delete;

    /// Copies the handle.
    TypedVariable(const TypedVariable&) noexcept = default;
    /// Makes this a handle of the other one's variable. Copies no value.
    TypedVariable& operator=(const TypedVariable&) noexcept = default;
    ~TypedVariable() = default;

    /// Changes value, quality and timestamp together: all, or nothing if it throws.
    /// @throws std::invalid_argument  if an enumerator is not in its list
    void update(Update changes) const {
        std::optional<Value> value;
        if (std::optional<T>& content = changes.value.get()) {
            value.emplace(to_value(std::move(*content)));
        }
        variable_->update({std::move(value), changes.quality, changes.timestamp});
    }

    /// Edits an array in place: `variable.modify([](std::vector<double>& levels) { levels[3] = 0.5; })`.
    /// See `Variable::modify`.
    template <class Edit>
    requires ModifiableContent<T> && std::invocable<Edit&, T&>
    void modify(Edit&& edit) const { variable_->template modify<T>(std::forward<Edit>(edit)); }

    /// The variable, for what does not depend on the type.
    Variable& get_variable() const noexcept { return *variable_; }

private:
    struct Checked {};
    TypedVariable(Variable& variable, Checked) noexcept : variable_(&variable) {}

    static constexpr ValueTypeInfo get_type() noexcept {
        if constexpr (std::is_enum_v<T>) {
            return get_type_info_of<SymbolInfo>();
        } else {
            return get_type_info_of<T>();
        }
    }

    static bool is_typed(const Variable& variable) {
        const Value& value = variable.get_value();
        if (value.get_type_info() != get_type()) {
            return false;
        }
        if constexpr (std::is_enum_v<T>) {
            const auto* const symbol = std::get_if<SymbolInfo>(&value);
            return symbol != nullptr &&
                   symbol->get_list_name() == symbol_list::SymbolList<T>::get_list_name();
        } else {
            return std::holds_alternative<T>(value);
        }
    }

    static Value to_value(T value) {
        if constexpr (std::is_enum_v<T>) {
            return Value(SymbolInfo(value));
        } else {
            return Value(std::move(value));
        }
    }

    /// The type has been checked, and a variable keeps its type.
    template <class Content>
    const Content& get_content() const noexcept {
        return *std::get_if<Content>(&variable_->get_value());
    }

    Variable* variable_;
};

}  // namespace kx::information_model
