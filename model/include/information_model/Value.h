#pragma once

#include <information_model/AbsolutePath.h>
#include <information_model/Duration.h>
#include <information_model/Path.h>
#include <information_model/SymbolInfo.h>
#include <information_model/TimePoint.h>
#include <information_model/ValueTypeInfo.h>
#include <information_model/exceptions.h>
#include <information_model/export.h>

#include <iosfwd>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

namespace kx::information_model {

/// What a `Value` can hold. Scalars come first, arrays after them in the same order; the order is the
/// variant's index and does not change. `std::vector<std::monostate>` is a placeholder for an array form
/// that is not used.
using ValueContent =
    std::variant<bool, signed char, unsigned char, short, unsigned short, int, unsigned int, long,
                 unsigned long, float, double, std::string, Duration, TimePoint, Path, AbsolutePath,
                 SymbolInfo, std::vector<bool>, std::vector<signed char>, std::vector<unsigned char>,
                 std::vector<short>, std::vector<unsigned short>, std::vector<int>, std::vector<unsigned int>,
                 std::vector<long>, std::vector<unsigned long>, std::vector<float>, std::vector<double>,
                 std::vector<std::string>, std::vector<Duration>, std::vector<TimePoint>, std::vector<Path>,
                 std::vector<AbsolutePath>, std::vector<std::monostate>, std::vector<SymbolInfo>>;

namespace detail {

/// The `VALUE_TYPE` of a scalar alternative; undefined for anything else.
template <class T>
struct ScalarType;

#define KX_SCALAR_TYPE(Type, Enumerator) \
    template <>                          \
    struct ScalarType<Type> : std::integral_constant<VALUE_TYPE, VALUE_TYPE::Enumerator> {}
KX_SCALAR_TYPE(bool, BOOLEAN);
KX_SCALAR_TYPE(std::string, STRING);
KX_SCALAR_TYPE(double, DOUBLE);
KX_SCALAR_TYPE(float, FLOAT);
KX_SCALAR_TYPE(long, LONG);
KX_SCALAR_TYPE(int, INT);
KX_SCALAR_TYPE(short, SHORT);
KX_SCALAR_TYPE(signed char, BYTE);
KX_SCALAR_TYPE(unsigned long, UNSIGNED_LONG);
KX_SCALAR_TYPE(unsigned int, UNSIGNED_INT);
KX_SCALAR_TYPE(unsigned short, UNSIGNED_SHORT);
KX_SCALAR_TYPE(unsigned char, UNSIGNED_BYTE);
KX_SCALAR_TYPE(TimePoint, DATE_TIME);
KX_SCALAR_TYPE(Duration, DURATION);
KX_SCALAR_TYPE(Path, PATH);
KX_SCALAR_TYPE(AbsolutePath, ABSOLUTE_PATH);
KX_SCALAR_TYPE(SymbolInfo, SYMBOL);
#undef KX_SCALAR_TYPE

template <class T>
struct ContentType {
    using Scalar = T;
    static constexpr bool IS_ARRAY = false;
};

template <class T>
struct ContentType<std::vector<T>> {
    using Scalar = T;
    static constexpr bool IS_ARRAY = true;
};

}  // namespace detail

/// A type that a `Value` can be made from: a scalar of the table above, or a vector of one.
template <class T>
concept ValueAlternative = requires {
    detail::ScalarType<typename detail::ContentType<T>::Scalar>::value;
};

/// The descriptor of the values that hold a `T`.
template <ValueAlternative T>
constexpr ValueTypeInfo get_type_info_of() noexcept {
    return {detail::ScalarType<typename detail::ContentType<T>::Scalar>::value,
            detail::ContentType<T>::IS_ARRAY};
}

/// A typed value: one alternative of `ValueContent` and the descriptor that says which. A plain value.
///
/// Read the content with the variant's functions: `std::get<double>(value)` throws
/// `std::bad_variant_access` when the value holds something else.
class KX_INFORMATION_MODEL_EXPORT Value : public ValueContent {
public:
    /// Takes the type from the content: `Value(21.5)` is a DOUBLE, `Value(21)` an INT.
    template <ValueAlternative T>
    explicit Value(T content)
        : ValueContent(std::in_place_type<T>, std::move(content)), type_info_(get_type_info_of<T>()) {}

    /// A STRING (and never a BOOLEAN).
    explicit Value(const char* text) : Value(std::string(text)) {}

    /// Takes content and descriptor without a check that they agree. Reading a value whose
    /// content does not agree fails in every service.
    template <ValueAlternative T>
    Value(T content, ValueTypeInfo type_info)
        : ValueContent(std::in_place_type<T>, std::move(content)), type_info_(type_info) {}

    /// The same with a text.
    Value(const char* text, ValueTypeInfo type_info) : Value(std::string(text), type_info) {}

    /// An array of the members' common scalar type; no members give an empty string array.
    /// @throws BadValueTypeException  if the types differ, a member is itself an array, or a member's
    ///                                content and descriptor do not agree
    explicit Value(const std::vector<Value>& members);

    // In the library, because code for all alternatives in every file of a host would be a lot of it.

    /// Copies content and type.
    Value(const Value& other);
    /// Takes over content and type.
    Value(Value&& other) noexcept;
    ~Value();

    /// Takes over content and type of `other`, which is why it cannot fail.
    Value& operator=(Value other) noexcept;

    /// The descriptor.
    const ValueTypeInfo& get_type_info() const noexcept { return type_info_; }

    /// Keeps the type and gives the value that type's default content: 0, false, "", the epoch, zero, the
    /// path ".", the absolute path "/", an empty array, the first symbol of the list that the value has.
    /// A value whose type has no content, or a symbol without its list, stays as it is.
    void reset();

    /// The content as a text for people: numbers in the shortest form that loses nothing, times and durations
    /// in ISO 8601, symbols by their name, texts as they are; arrays as in "[1, 2]", with texts in quotes.
    std::string to_string() const;

    /// Whether type and content are equal.
    KX_INFORMATION_MODEL_EXPORT friend bool operator==(const Value& left, const Value& right);

private:
    // Would separate the content from its descriptor.
    using ValueContent::emplace;
    using ValueContent::swap;

    ValueTypeInfo type_info_;
};

/// Writes `value.to_string()`.
KX_INFORMATION_MODEL_EXPORT std::ostream& operator<<(std::ostream& stream, const Value& value);

}  // namespace kx::information_model
