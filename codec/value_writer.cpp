#include "codec/value_writer.h"

#include "codec/text_forms.h"
#include "codec/type_names.h"
#include "codec/value_content.h"
#include "codec/value_types.h"
#include "xml/reply/reply_dom.h"
#include "xml/xml_names.h"

#include <Poco/Exception.h>

#include <vector>

namespace kx::information_model::opc {

namespace {

template <class T>
std::string to_member_string(const T& member) {
    return to_xml_string(member);
}

std::string to_member_string(const unsigned char& member) {
    return to_xml_string(static_cast<signed char>(member));
}

}  // namespace

template <class T>
void convert(Poco::AutoPtr<Poco::XML::Document> document, Poco::AutoPtr<Poco::XML::Element> element,
             const Value& value) {
    if (document.isNull() || element.isNull()) {
        throw Poco::NullPointerException();
    }
    if (!value.get_type_info().is_array()) {
        append_text(*element, to_xml_string(get_content<T>(value)));
        return;
    }
    const std::string member_name = get_type_name(value.get_type_info());
    for (const T& member : get_content<std::vector<T>>(value)) {
        append_text_element(*element, member_name, to_member_string(member));
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

}  // namespace kx::information_model::opc
