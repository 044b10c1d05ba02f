#include "codec/value_writer.h"

#include "codec/text_forms.h"
#include "codec/type_names.h"
#include "codec/value_content.h"
#include "server/reply_dom.h"
#include "server/xml_names.h"

#include <Poco/Exception.h>

#include <stdexcept>
#include <variant>
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
template void convert<bool>(DocumentPointer, ElementPointer, const Value&);
template void convert<std::string>(DocumentPointer, ElementPointer, const Value&);
template void convert<double>(DocumentPointer, ElementPointer, const Value&);
template void convert<float>(DocumentPointer, ElementPointer, const Value&);
template void convert<long>(DocumentPointer, ElementPointer, const Value&);
template void convert<int>(DocumentPointer, ElementPointer, const Value&);
template void convert<short>(DocumentPointer, ElementPointer, const Value&);
template void convert<signed char>(DocumentPointer, ElementPointer, const Value&);
template void convert<unsigned long>(DocumentPointer, ElementPointer, const Value&);
template void convert<unsigned int>(DocumentPointer, ElementPointer, const Value&);
template void convert<unsigned short>(DocumentPointer, ElementPointer, const Value&);
template void convert<unsigned char>(DocumentPointer, ElementPointer, const Value&);
template void convert<TimePoint>(DocumentPointer, ElementPointer, const Value&);
template void convert<Duration>(DocumentPointer, ElementPointer, const Value&);
template void convert<Path>(DocumentPointer, ElementPointer, const Value&);
template void convert<AbsolutePath>(DocumentPointer, ElementPointer, const Value&);
template void convert<SymbolInfo>(DocumentPointer, ElementPointer, const Value&);

Poco::AutoPtr<Poco::XML::Element> create_value_element(Poco::AutoPtr<Poco::XML::Document> document,
                                                       const Value& value) {
    auto element = create_element(*document, reply_names::VALUE);
    switch (value.get_type_info().get_type()) {
        case VALUE_TYPE::BOOLEAN:
            convert<bool>(document, element, value);
            break;
        case VALUE_TYPE::STRING:
            convert<std::string>(document, element, value);
            break;
        case VALUE_TYPE::DOUBLE:
            convert<double>(document, element, value);
            break;
        case VALUE_TYPE::FLOAT:
            convert<float>(document, element, value);
            break;
        case VALUE_TYPE::DECIMAL:
            throw std::invalid_argument("Decimal type not implemented.");
        case VALUE_TYPE::LONG:
            convert<long>(document, element, value);
            break;
        case VALUE_TYPE::INT:
            convert<int>(document, element, value);
            break;
        case VALUE_TYPE::SHORT:
            convert<short>(document, element, value);
            break;
        case VALUE_TYPE::BYTE:
            convert<signed char>(document, element, value);
            break;
        case VALUE_TYPE::UNSIGNED_LONG:
            convert<unsigned long>(document, element, value);
            break;
        case VALUE_TYPE::UNSIGNED_INT:
            convert<unsigned int>(document, element, value);
            break;
        case VALUE_TYPE::UNSIGNED_SHORT:
            convert<unsigned short>(document, element, value);
            break;
        case VALUE_TYPE::UNSIGNED_BYTE:
            convert<unsigned char>(document, element, value);
            break;
        case VALUE_TYPE::DATE_TIME:
            convert<TimePoint>(document, element, value);
            break;
        case VALUE_TYPE::DURATION:
            convert<Duration>(document, element, value);
            break;
        case VALUE_TYPE::PATH:
            convert<Path>(document, element, value);
            break;
        case VALUE_TYPE::ABSOLUTE_PATH:
            convert<AbsolutePath>(document, element, value);
            break;
        case VALUE_TYPE::ATTACHMENT:
            throw std::invalid_argument("Attachment type not implemented.");
        case VALUE_TYPE::SYMBOL:
            convert<SymbolInfo>(document, element, value);
            break;
        default:
            throw std::invalid_argument("Unknown value type.");
    }
    return element;
}

}  // namespace kx::information_model::opc
