#include "codec/value_reader.h"

#include "codec/number_extraction.h"
#include "codec/text_forms.h"
#include "codec/type_names.h"
#include "server/xml_names.h"

#include <algorithm>
#include <array>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace kx::information_model::opc {

namespace {

// `Node::innerText` without its copies on each level: nested elements would cost their depth times their
// size.
void append_inner_text(const Poco::XML::Node& node, std::string& text) {
    const Poco::XML::Node* child = node.firstChild();
    if (child == nullptr) {
        text += node.innerText();
    }
    for (; child != nullptr; child = child->nextSibling()) {
        append_inner_text(*child, text);
    }
}

std::string get_inner_text(const Poco::XML::Node& node) {
    std::string text;
    append_inner_text(node, text);
    return text;
}

template <class T>
T read_text(const Poco::XML::Node& node) {
    std::string text = get_inner_text(node);
    if constexpr (std::is_same_v<T, std::string>) {
        return text;
    } else if constexpr (std::is_arithmetic_v<T> && sizeof(T) > sizeof(signed char)) {
        return extract_number<T>(text);
    } else if constexpr (std::is_same_v<T, bool>) {
        return extract_number<bool>(text);
    } else {
        return from_xml_string<T>(text);
    }
}

template <class T>
std::vector<T> read_members(const Poco::XML::Node& node) {
    const std::string name = get_type_name(get_type_info_of<T>());
    std::vector<T> members;
    for (const Poco::XML::Node* child = node.firstChild(); child != nullptr; child = child->nextSibling()) {
        if (child->localName() == name && child->namespaceURI() == xml_namespaces::XMLDA) {
            members.push_back(read_text<T>(*child));
        }
    }
    return members;
}

template <class T>
Value read_scalar(const Poco::XML::Node* node) {
    return convert<T>(node, false);
}

template <class T>
Value read_array(const Poco::XML::Node* node) {
    return convert<T>(node, true);
}

// Not a `convert`: there is no array form, since unsigned bytes in an array travel as signed ones.
Value read_unsigned_byte(const Poco::XML::Node* node) {
    return Value(read_text<unsigned char>(*node));
}

struct InputType {
    std::string_view xsi_type;
    ValueReader read;
};

constexpr std::array<InputType, 27> INPUT_TYPES{{
    {"xsd:string", read_scalar<std::string>},
    {"xsd:boolean", read_scalar<bool>},
    {"xsd:float", read_scalar<float>},
    {"xsd:double", read_scalar<double>},
    {"xsd:long", read_scalar<long>},
    {"xsd:int", read_scalar<int>},
    {"xsd:short", read_scalar<short>},
    {"xsd:byte", read_scalar<signed char>},
    {"xsd:unsignedLong", read_scalar<unsigned long>},
    {"xsd:unsignedInt", read_scalar<unsigned int>},
    {"xsd:unsignedShort", read_scalar<unsigned short>},
    {"xsd:unsignedByte", read_unsigned_byte},
    {"xsd:dateTime", read_scalar<TimePoint>},
    {"xsd:duration", read_scalar<Duration>},
    {"ArrayOfByte", read_array<signed char>},
    {"ArrayOfShort", read_array<short>},
    {"ArrayOfUnsignedShort", read_array<unsigned short>},
    {"ArrayOfInt", read_array<int>},
    {"ArrayOfUnsignedInt", read_array<unsigned int>},
    {"ArrayOfLong", read_array<long>},
    {"ArrayOfUnsignedLong", read_array<unsigned long>},
    {"ArrayOfFloat", read_array<float>},
    {"ArrayOfDouble", read_array<double>},
    {"ArrayOfBoolean", read_array<bool>},
    {"ArrayOfString", read_array<std::string>},
    {"ArrayOfDateTime", read_array<TimePoint>},
    {"ArrayOfDuration", read_array<Duration>},
}};

}  // namespace

template <class T>
Value convert(const Poco::XML::Node* node, bool is_array) {
    if (is_array) {
        return Value(read_members<T>(*node));
    }
    return Value(read_text<T>(*node));
}

template Value convert<bool>(const Poco::XML::Node*, bool);
template Value convert<std::string>(const Poco::XML::Node*, bool);
template Value convert<double>(const Poco::XML::Node*, bool);
template Value convert<float>(const Poco::XML::Node*, bool);
template Value convert<long>(const Poco::XML::Node*, bool);
template Value convert<int>(const Poco::XML::Node*, bool);
template Value convert<short>(const Poco::XML::Node*, bool);
template Value convert<signed char>(const Poco::XML::Node*, bool);
template Value convert<unsigned long>(const Poco::XML::Node*, bool);
template Value convert<unsigned int>(const Poco::XML::Node*, bool);
template Value convert<unsigned short>(const Poco::XML::Node*, bool);
template Value convert<TimePoint>(const Poco::XML::Node*, bool);
template Value convert<Duration>(const Poco::XML::Node*, bool);

ValueReader find_value_reader(std::string_view xsi_type) noexcept {
    const auto row = std::find_if(INPUT_TYPES.begin(), INPUT_TYPES.end(),
                                  [&](const InputType& type) { return type.xsi_type == xsi_type; });
    return row == INPUT_TYPES.end() ? nullptr : row->read;
}

}  // namespace kx::information_model::opc
