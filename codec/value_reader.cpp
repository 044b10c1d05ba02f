#include "codec/value_reader.h"

#include "codec/number_extraction.h"
#include "codec/text_forms.h"
#include "codec/type_names.h"
#include "codec/value_types.h"
#include "xml/xml_names.h"

#include <algorithm>
#include <array>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace kx::information_model::opc {

namespace {

template <class T>
T read_text(const Poco::XML::Node& node) {
    std::string text = node.innerText();
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

// The names are compared as they stand, and an array of bytes is one of signed bytes.
constexpr std::array INPUT_TYPES{
#define KX_READERS(NUMBER, TYPE, SCALAR, ARRAY) \
    InputType{SCALAR, read_scalar<TYPE>}, InputType{ARRAY, read_array<TYPE>},
    KX_FOR_EACH_TYPE_READ(KX_READERS)
#undef KX_READERS
        InputType{"xsd:unsignedByte", read_unsigned_byte},
};

}  // namespace

template <class T>
Value convert(const Poco::XML::Node* node, bool is_array) {
    if (is_array) {
        return Value(read_members<T>(*node));
    }
    return Value(read_text<T>(*node));
}

#define KX_INSTANTIATE(NUMBER, TYPE, SCALAR, ARRAY) \
    template Value convert<TYPE>(const Poco::XML::Node*, bool);
KX_FOR_EACH_TYPE_READ(KX_INSTANTIATE)
#undef KX_INSTANTIATE

ValueReader find_value_reader(std::string_view xsi_type) noexcept {
    const auto row = std::find_if(INPUT_TYPES.begin(), INPUT_TYPES.end(),
                                  [&](const InputType& type) { return type.xsi_type == xsi_type; });
    return row == INPUT_TYPES.end() ? nullptr : row->read;
}

}  // namespace kx::information_model::opc
