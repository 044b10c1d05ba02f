#include "codec/type_names.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace kx::information_model::opc {
namespace {

struct TypeRow {
    VALUE_TYPE type;
    std::string scalar;
    std::string array;
    std::string name;         // of a scalar
    std::string member_name;  // of an array's members
};

class TypeNames : public ::testing::TestWithParam<TypeRow> {};

TEST_P(TypeNames, AreThoseOfXmlSchema) {
    const TypeRow& row = GetParam();
    EXPECT_EQ(get_xsi_type_name(ValueTypeInfo(row.type, false)), row.scalar);
    EXPECT_EQ(get_xsi_type_name(ValueTypeInfo(row.type, true)), row.array);
    EXPECT_EQ(get_type_name(ValueTypeInfo(row.type, false)), row.name);
    EXPECT_EQ(get_type_name(ValueTypeInfo(row.type, true)), row.member_name);
}

INSTANTIATE_TEST_SUITE_P(
    AllTypes, TypeNames,
    ::testing::Values(
        TypeRow{VALUE_TYPE::BOOLEAN, "xsd:boolean", "ArrayOfBoolean", "boolean", "boolean"},
        TypeRow{VALUE_TYPE::STRING, "xsd:string", "ArrayOfString", "string", "string"},
        TypeRow{VALUE_TYPE::DOUBLE, "xsd:double", "ArrayOfDouble", "double", "double"},
        TypeRow{VALUE_TYPE::FLOAT, "xsd:float", "ArrayOfFloat", "float", "float"},
        TypeRow{VALUE_TYPE::LONG, "xsd:long", "ArrayOfLong", "long", "long"},
        TypeRow{VALUE_TYPE::INT, "xsd:int", "ArrayOfInt", "int", "int"},
        TypeRow{VALUE_TYPE::SHORT, "xsd:short", "ArrayOfShort", "short", "short"},
        TypeRow{VALUE_TYPE::BYTE, "xsd:byte", "ArrayOfByte", "byte", "byte"},
        TypeRow{VALUE_TYPE::UNSIGNED_LONG, "xsd:unsignedLong", "ArrayOfUnsignedLong", "unsignedLong",
                "unsignedLong"},
        TypeRow{VALUE_TYPE::UNSIGNED_INT, "xsd:unsignedInt", "ArrayOfUnsignedInt", "unsignedInt",
                "unsignedInt"},
        TypeRow{VALUE_TYPE::UNSIGNED_SHORT, "xsd:unsignedShort", "ArrayOfUnsignedShort", "unsignedShort",
                "unsignedShort"},
        TypeRow{VALUE_TYPE::UNSIGNED_BYTE, "xsd:unsignedByte", "ArrayOfByte", "unsignedByte", "byte"},
        TypeRow{VALUE_TYPE::DATE_TIME, "xsd:dateTime", "ArrayOfDateTime", "dateTime", "dateTime"},
        TypeRow{VALUE_TYPE::DURATION, "xsd:duration", "ArrayOfDuration", "duration", "duration"},
        TypeRow{VALUE_TYPE::PATH, "xsd:string", "ArrayOfString", "string", "string"},
        TypeRow{VALUE_TYPE::ABSOLUTE_PATH, "xsd:string", "ArrayOfString", "string", "string"},
        TypeRow{VALUE_TYPE::SYMBOL, "xsd:int", "ArrayOfInt", "int", "int"}));

std::string get_failure(std::string (*function)(const ValueTypeInfo&), const ValueTypeInfo& type_info) {
    try {
        return "named " + function(type_info);
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
}

void expect_failure(VALUE_TYPE type, const std::string& text) {
    for (const bool is_array : {false, true}) {
        EXPECT_EQ(get_failure(get_xsi_type_name, ValueTypeInfo(type, is_array)), text);
        EXPECT_EQ(get_failure(get_type_name, ValueTypeInfo(type, is_array)), text);
    }
}

TEST(TypeNamesFailure, NamesTheTypeWithoutForm) {
    expect_failure(VALUE_TYPE::DECIMAL, "Decimal type not implemented.");
    expect_failure(VALUE_TYPE::ATTACHMENT, "Attachment type not implemented.");
}

TEST(TypeNamesFailure, RefusesEveryOtherNumber) {
    for (const unsigned number : {0U, 20U, 21U, 255U, 256U + 7U, 65536U + 7U, 0x80000007U, 0xFFFFFFFFU}) {
        expect_failure(static_cast<VALUE_TYPE>(number), "Unknown value type.");
    }
}

}  // namespace
}  // namespace kx::information_model::opc
