#include "client/Value.h"

#include "client/namespaces.h"
#include "client/text/text.h"
#include "client/type_names.h"

namespace xmlda {
namespace {

constexpr char QUALITY_TYPE[] = "OPCQuality";

std::string get_type(const XmlElement& element, const std::string& otherwise) {
    const auto text = element.find_instance_attribute("type");
    if (!text) {
        return otherwise;
    }
    const std::string trimmed = trim(*text);
    const QualifiedName name = element.resolve(trimmed);
    // Some clients write "xsd:double" and declare no such prefix.
    const bool is_presumed = name.namespace_uri.empty() && trimmed == "xsd:" + name.name;
    const bool is_known =
        is_presumed || name.namespace_uri == namespaces::XSD || name.namespace_uri == namespaces::XMLDA;
    return is_known ? name.name : trimmed;
}

bool is_nil(const XmlElement& element) {
    const auto nil = element.find_instance_attribute("nil");
    if (!nil) {
        return false;
    }
    const std::string text = trim(*nil);
    return text == "true" || text == "1";
}

/// @param presumed_type  that of an element which names none
Value parse_value(const XmlElement& element, const std::string& presumed_type) {
    Value value;
    value.type = get_type(element, presumed_type);
    if (is_nil(element)) {
        value.kind = Value::Kind::NIL;
    } else if (is_array_type(value.type) || !element.get_children().empty()) {
        value.kind = Value::Kind::LIST;
        const std::string member_type = is_array_type(value.type) ? get_member_type(value.type) : "";
        for (const XmlElement& child : element.get_children()) {
            value.members.push_back(parse_value(child, member_type));
        }
    } else {
        const bool keeps_blanks = value.type == "string" || value.type.empty();
        value.text = keeps_blanks ? element.get_text() : trim(element.get_text());
        if (value.text.empty() && value.type == QUALITY_TYPE) {
            value.text = parse_quality(element).to_text();
        }
    }
    return value;
}

}  // namespace

Quality parse_quality(const XmlElement& element) {
    const Quality ordinary;
    const auto get = [&element](std::string_view name, const std::string& otherwise) {
        return std::string(element.find_attribute(name).value_or(otherwise));
    };
    return {get("QualityField", ordinary.field), get("LimitField", ordinary.limit),
            get("VendorField", ordinary.vendor)};
}

Value parse_value(const XmlElement& element) {
    return parse_value(element, "");
}

}  // namespace xmlda
