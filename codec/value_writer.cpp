#include "codec/value_writer.h"

#include "codec/text_forms.h"
#include "codec/type_names.h"
#include "codec/value_content.h"
#include "codec/value_types.h"
#include "xml/reply/reply_dom.h"
#include "xml/xml_names.h"

#include <Poco/Exception.h>

#include <string>
#include <type_traits>
#include <vector>

namespace kx::information_model::opc {

namespace {

template <class T>
decltype(auto) get_text(const T& scalar) {
    if constexpr (std::is_same_v<T, std::string>) {
        return (scalar);
    } else {
        return to_xml_string(scalar);
    }
}

template <class T>
decltype(auto) get_member_text(const T& member) {
    return get_text(member);
}

std::string get_member_text(const unsigned char& member) {
    return to_xml_string(static_cast<signed char>(member));
}

/// @param element  an element, or a writer that has begun one
template <class Element, class T>
void append_scalar(Element& element, const T& scalar) {
    append_text(element, get_text(scalar));
}

template <class Element, class T>
void append_members(Element& element, const std::vector<T>& members, const ValueTypeInfo& type_info) {
    const std::string name = get_type_name(type_info);
    for (const T& member : members) {
        append_text_element(element, name, get_member_text(member));
    }
}

}  // namespace

template <class T>
void convert(Poco::AutoPtr<Poco::XML::Document> document, Poco::AutoPtr<Poco::XML::Element> element,
             const Value& value) {
    if (document.isNull() || element.isNull()) {
        throw Poco::NullPointerException();
    }
    if (value.get_type_info().is_array()) {
        append_members(*element, get_content<std::vector<T>>(value), value.get_type_info());
    } else {
        append_scalar(*element, get_content<T>(value));
    }
}

// For callers in other files.
using DocumentPointer = Poco::AutoPtr<Poco::XML::Document>;
using ElementPointer = Poco::AutoPtr<Poco::XML::Element>;
#define KX_INSTANTIATE(NUMBER, TYPE, SCALAR, ARRAY) \
    template void convert<TYPE>(DocumentPointer, ElementPointer, const Value&);
KX_FOR_EACH_TYPE(KX_INSTANTIATE)
#undef KX_INSTANTIATE

Poco::AutoPtr<Poco::XML::Element> create_value_element(Poco::AutoPtr<Poco::XML::Document> document,
                                                       const Value& value) {
    auto element = create_element(*document, reply_names::VALUE);
    const ValueTypeInfo type_info = value.get_type_info();
    dispatch_type(type_info.get_type(), [&](auto type, const TypeNames& names) {
        convert<typename decltype(type)::type>(document, element, value);
        set_attribute(*element, reply_names::XSI_TYPE, names.of(type_info));
    });
    return element;
}

void write_value_element(ChildWriter& writer, const Value& value, std::string_view xsi_type) {
    const ValueTypeInfo type_info = value.get_type_info();
    dispatch_type(type_info.get_type(), [&](auto type, const TypeNames& names) {
        using T = typename decltype(type)::type;
        const auto begin = [&] {
            writer.begin(reply_names::VALUE);
            writer.set_attribute(reply_names::XSI_TYPE, xsi_type.empty() ? names.of(type_info) : xsi_type);
        };
        if (type_info.is_array()) {
            const auto& members = get_content<std::vector<T>>(value);
            begin();
            append_members(writer, members, type_info);
        } else {
            const T& scalar = get_content<T>(value);
            begin();
            append_scalar(writer, scalar);
        }
        writer.end(reply_names::VALUE);
    });
}

}  // namespace kx::information_model::opc
