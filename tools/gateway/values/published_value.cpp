#include "gateway/values/published_value.h"

#include "client/type_names.h"
#include "client/xml/schema_texts.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace gateway {
namespace {

constexpr std::array<std::string_view, 14> PUBLISHED_ARRAYS = {
    "ArrayOfByte",    "ArrayOfShort",  "ArrayOfUnsignedShort", "ArrayOfInt",    "ArrayOfUnsignedInt",
    "ArrayOfLong",    "ArrayOfFloat",  "ArrayOfUnsignedLong",  "ArrayOfDouble", "ArrayOfDecimal",
    "ArrayOfBoolean", "ArrayOfString", "ArrayOfDateTime",      "ArrayOfAnyType"};

constexpr char ARRAY_OF_ANYTHING[] = "ArrayOfAnyType";
constexpr char STRING[] = "string";

constexpr std::array<std::string_view, 16> QUALITIES = {"good",
                                                        "goodLocalOverride",
                                                        "uncertain",
                                                        "uncertainLastUsableValue",
                                                        "uncertainSensorNotAccurate",
                                                        "uncertainEUExceeded",
                                                        "uncertainSubNormal",
                                                        "bad",
                                                        "badConfigurationError",
                                                        "badNotConnected",
                                                        "badDeviceFailure",
                                                        "badSensorFailure",
                                                        "badLastKnownValue",
                                                        "badCommFailure",
                                                        "badOutOfService",
                                                        "badWaitingForInitialData"};

bool is_published_array(const std::string& type) {
    return std::find(PUBLISHED_ARRAYS.begin(), PUBLISHED_ARRAYS.end(), type) != PUBLISHED_ARRAYS.end();
}

void publish_text(const std::string& type, std::string& text) {
    if (type == "boolean") {
        if (text == "1" || text == "0") {
            text = text == "1" ? "true" : "false";
        }
    } else if (type == "double" || type == "float") {
        if (text == "inf" || text == "-inf") {
            text = text == "inf" ? "INF" : "-INF";
        } else if (text.ends_with("nan")) {
            text = "NaN";
        }
    }
}

void publish_scalar(xmlda::Value& value) {
    publish_text(value.type, value.text);
    if (!xmlda::is_of_type(value.text, value.type)) {
        value.type = STRING;
    }
}

/// Whether an array of this type may hold this member; it is published itself.
bool may_hold(const std::string& member_type, const xmlda::Value& member) {
    return member.kind == xmlda::Value::Kind::NIL ? member_type == STRING : member.type == member_type;
}

void publish_list(xmlda::Value& value) {
    bool is_uniform = is_published_array(value.type);
    const std::string member_type = is_uniform ? xmlda::get_member_type(value.type) : "";
    for (xmlda::Value& member : value.members) {
        if (member.kind == xmlda::Value::Kind::SCALAR) {
            publish_scalar(member);
        } else {
            member.kind = xmlda::Value::Kind::NIL;  // there are no arrays of arrays
        }
        is_uniform = is_uniform && may_hold(member_type, member);
    }
    if (!is_uniform && (is_published_array(value.type) || !xmlda::is_array_type(value.type))) {
        value.type = ARRAY_OF_ANYTHING;
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
    if (value.kind == xmlda::Value::Kind::LIST) {
        publish_list(value);
    } else {
        publish_scalar(value);
    }
    return value;
}

std::string to_published_type(const std::string& type) {
    if (!xmlda::is_array_type(type)) {
        return xmlda::is_value_type(type) ? "xsd:" + type : "xsd:string";
    }
    return is_published_array(type) ? "da:" + type : "da:ArrayOfAnyType";
}

std::string to_published_quality(const std::string& text) {
    if (std::find(QUALITIES.begin(), QUALITIES.end(), text) != QUALITIES.end()) {
        return text;
    }
    if (text.starts_with("good")) {
        return "good";
    }
    return text.starts_with("uncertain") ? "uncertain" : "bad";
}

void write_published_value(xmlda::XmlWriter& writer, const xmlda::Value& value) {
    if (value.kind == xmlda::Value::Kind::NIL) {
        return;
    }
    writer.start("Value").attribute("xsi:type", to_published_type(value.type));
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
