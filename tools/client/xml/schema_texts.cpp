#include "client/xml/schema_texts.h"

#include <libxml/tree.h>
#include <libxml/xmlschemastypes.h>

#include <algorithm>
#include <array>

namespace xmlda {
namespace {

struct ValueType {
    std::string_view name;
    xmlSchemaValType number;
};

constexpr std::array VALUE_TYPES = {
    ValueType{"double", XML_SCHEMAS_DOUBLE},      ValueType{"string", XML_SCHEMAS_STRING},
    ValueType{"boolean", XML_SCHEMAS_BOOLEAN},    ValueType{"int", XML_SCHEMAS_INT},
    ValueType{"float", XML_SCHEMAS_FLOAT},        ValueType{"dateTime", XML_SCHEMAS_DATETIME},
    ValueType{"duration", XML_SCHEMAS_DURATION},  ValueType{"byte", XML_SCHEMAS_BYTE},
    ValueType{"short", XML_SCHEMAS_SHORT},        ValueType{"long", XML_SCHEMAS_LONG},
    ValueType{"unsignedByte", XML_SCHEMAS_UBYTE}, ValueType{"unsignedShort", XML_SCHEMAS_USHORT},
    ValueType{"unsignedInt", XML_SCHEMAS_UINT},   ValueType{"unsignedLong", XML_SCHEMAS_ULONG},
    ValueType{"integer", XML_SCHEMAS_INTEGER},    ValueType{"decimal", XML_SCHEMAS_DECIMAL},
    ValueType{"date", XML_SCHEMAS_DATE},          ValueType{"time", XML_SCHEMAS_TIME},
    ValueType{"anyURI", XML_SCHEMAS_ANYURI},      ValueType{"base64Binary", XML_SCHEMAS_BASE64BINARY},
    ValueType{"hexBinary", XML_SCHEMAS_HEXBINARY}};

const ValueType* find_value_type(std::string_view name) {
    const auto* const found = std::find_if(VALUE_TYPES.begin(), VALUE_TYPES.end(),
                                           [name](const ValueType& type) { return type.name == name; });
    return found == VALUE_TYPES.end() ? nullptr : found;
}

const xmlChar* to_xml(const std::string& text) {
    return reinterpret_cast<const xmlChar*>(text.c_str());
}

/// libxml2 wants its types to be set up by one thread before several use them.
xmlSchemaType* get_schema_type(xmlSchemaValType number) {
    static const bool is_done = [] {
        xmlSchemaInitTypes();
        return true;
    }();
    static_cast<void>(is_done);
    return xmlSchemaGetBuiltInType(number);
}

}  // namespace

bool is_name(const std::string& text) {
    return xmlValidateNCName(to_xml(text), 0) == 0;
}

bool is_qualified_name(const std::string& text) {
    return xmlValidateQName(to_xml(text), 0) == 0;
}

bool is_value_type(std::string_view type) {
    return find_value_type(type) != nullptr;
}

bool is_of_type(const std::string& text, std::string_view type) {
    const ValueType* const found = find_value_type(type);
    if (found == nullptr || found->number == XML_SCHEMAS_STRING) {
        return found != nullptr;
    }
    return xmlSchemaValidatePredefinedType(get_schema_type(found->number), to_xml(text), nullptr) == 0;
}

}  // namespace xmlda
