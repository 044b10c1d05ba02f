#pragma once

#include <information_model/AbsolutePath.h>
#include <information_model/Duration.h>
#include <information_model/Path.h>
#include <information_model/SymbolInfo.h>
#include <information_model/TimePoint.h>
#include <information_model/ValueTypeInfo.h>

#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>

/// The types that travel, one row each: the only place that lists them. A new type needs a row here, and its
/// text form in text_forms.h.
///
/// | column | meaning |
/// |---|---|
/// | `VALUE_TYPE` | its number |
/// | C++ type | of a scalar |
/// | scalar | its "xsi:type" |
/// | array | that of an array |
///
/// The first table holds the types that clients may send, the second those that they see under the name of
/// another.
// clang-format off
#define KX_FOR_EACH_TYPE_READ(ROW)                                                \
    ROW(BOOLEAN,        bool,           "xsd:boolean",       "ArrayOfBoolean")       \
    ROW(STRING,         std::string,    "xsd:string",        "ArrayOfString")        \
    ROW(DOUBLE,         double,         "xsd:double",        "ArrayOfDouble")        \
    ROW(FLOAT,          float,          "xsd:float",         "ArrayOfFloat")         \
    ROW(LONG,           long,           "xsd:long",          "ArrayOfLong")          \
    ROW(INT,            int,            "xsd:int",           "ArrayOfInt")           \
    ROW(SHORT,          short,          "xsd:short",         "ArrayOfShort")         \
    ROW(BYTE,           signed char,    "xsd:byte",          "ArrayOfByte")          \
    ROW(UNSIGNED_LONG,  unsigned long,  "xsd:unsignedLong",  "ArrayOfUnsignedLong")  \
    ROW(UNSIGNED_INT,   unsigned int,   "xsd:unsignedInt",   "ArrayOfUnsignedInt")   \
    ROW(UNSIGNED_SHORT, unsigned short, "xsd:unsignedShort", "ArrayOfUnsignedShort") \
    ROW(DATE_TIME,      TimePoint,      "xsd:dateTime",      "ArrayOfDateTime")      \
    ROW(DURATION,       Duration,       "xsd:duration",      "ArrayOfDuration")

// Kept, clients rely on it: an array of unsigned bytes looks like one of signed bytes.
#define KX_FOR_EACH_TYPE_WRITTEN_ONLY(ROW)                                        \
    ROW(UNSIGNED_BYTE,  unsigned char,  "xsd:unsignedByte",  "ArrayOfByte")          \
    ROW(PATH,           Path,           "xsd:string",        "ArrayOfString")        \
    ROW(ABSOLUTE_PATH,  AbsolutePath,   "xsd:string",        "ArrayOfString")        \
    ROW(SYMBOL,         SymbolInfo,     "xsd:int",           "ArrayOfInt")
// clang-format on

#define KX_FOR_EACH_TYPE(ROW)  \
    KX_FOR_EACH_TYPE_READ(ROW) \
    KX_FOR_EACH_TYPE_WRITTEN_ONLY(ROW)

namespace kx::information_model::opc {

/// What a type is called in "xsi:type".
struct TypeNames {
    std::string_view scalar;
    std::string_view array;

    std::string_view of(const ValueTypeInfo& type_info) const noexcept {
        return type_info.is_array() ? array : scalar;
    }
};

/// Calls `action(std::type_identity<T>(), TypeNames)` for the C++ type of the scalars of `type`, and returns
/// what it returns.
/// @throws std::invalid_argument  "Decimal type not implemented.", "Attachment type not implemented." or, for
///                                a number outside 1 to 19, "Unknown value type."
template <class Action>
decltype(auto) dispatch_type(VALUE_TYPE type, Action&& action) {
    switch (type) {
#define KX_CASE(NUMBER, TYPE, SCALAR, ARRAY) \
    case VALUE_TYPE::NUMBER:                 \
        return action(std::type_identity<TYPE>(), TypeNames{SCALAR, ARRAY});
        KX_FOR_EACH_TYPE(KX_CASE)
#undef KX_CASE
        case VALUE_TYPE::DECIMAL:
            throw std::invalid_argument("Decimal type not implemented.");
        case VALUE_TYPE::ATTACHMENT:
            throw std::invalid_argument("Attachment type not implemented.");
    }
    throw std::invalid_argument("Unknown value type.");
}

}  // namespace kx::information_model::opc
