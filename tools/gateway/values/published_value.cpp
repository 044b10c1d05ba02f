#include "gateway/values/published_value.h"

#include "client/type_names.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace gateway {
namespace {

constexpr std::array<std::string_view, 14> PUBLISHED_ARRAYS = {
    "ArrayOfByte",    "ArrayOfShort",  "ArrayOfUnsignedShort", "ArrayOfInt",    "ArrayOfUnsignedInt",
    "ArrayOfLong",    "ArrayOfFloat",  "ArrayOfUnsignedLong",  "ArrayOfDouble", "ArrayOfDecimal",
    "ArrayOfBoolean", "ArrayOfString", "ArrayOfDateTime",      "ArrayOfAnyType"};

bool is_published_array(const std::string& type) {
    return std::find(PUBLISHED_ARRAYS.begin(), PUBLISHED_ARRAYS.end(), type) != PUBLISHED_ARRAYS.end();
}

void publish_text(const std::string& type, std::string& text) {
    if (type == "boolean") {
        text = text == "1" || text == "true" ? "true" : "false";
    } else if (type == "double" || type == "float") {
        if (text == "inf" || text == "-inf") {
            text = text == "inf" ? "INF" : "-INF";
        } else if (text.ends_with("nan")) {
            text = "NaN";
        }
    }
}

void write_member(xmlda::XmlWriter& writer, const std::string& name, const xmlda::Value& member,
                  const std::string& type) {
    writer.start(name);
    if (member.kind == xmlda::Value::Kind::NIL) {
        writer.attribute("xsi:nil", "true");
    } else {
        if (name == "anyType") {
            writer.attribute("xsi:type", to_published_type(type));
        }
        writer.text(member.text);
    }
    writer.end();
}

}  // namespace

xmlda::Value to_published_value(xmlda::Value value) {
    if (value.type.empty()) {
        value.type = "string";
    }
    publish_text(value.type, value.text);
    for (xmlda::Value& member : value.members) {
        publish_text(member.type, member.text);
    }
    return value;
}

std::string to_published_type(const std::string& type) {
    if (!xmlda::is_array_type(type)) {
        return type.find(':') == std::string::npos ? "xsd:" + type : "xsd:string";
    }
    return is_published_array(type) ? "da:" + type : "da:ArrayOfAnyType";
}

void write_published_value(xmlda::XmlWriter& writer, const xmlda::Value& value) {
    writer.start("Value");
    if (value.kind == xmlda::Value::Kind::NIL) {
        writer.attribute("xsi:nil", "true").end();
        return;
    }
    writer.attribute("xsi:type", to_published_type(value.type));
    if (value.kind == xmlda::Value::Kind::SCALAR) {
        writer.text(value.text);
    } else {
        const std::string type =
            xmlda::is_array_type(value.type) ? xmlda::get_member_type(value.type) : "string";
        const std::string name = is_published_array(value.type) ? type : "anyType";
        for (const xmlda::Value& member : value.members) {
            write_member(writer, name, member, member.type.empty() ? type : member.type);
        }
    }
    writer.end();
}

}  // namespace gateway
