#include "server/message/AMessage.h"

#include "codec/value_writer.h"
#include "server/message/envelope.h"
#include "xml/reply/reply_dom.h"
#include "xml/request/request_dom.h"
#include "xml/xml_names.h"

#include <Poco/Exception.h>
#include <Poco/NumberParser.h>

#include <stdexcept>
#include <type_traits>
#include <utility>

namespace kx::information_model::opc {

namespace {

// POCO takes every "," and every "f" out of a text, moving all that follows each time. Without them there is
// nothing to move. An empty text is refused, while one that they alone make up is 0: so one is put back.
float parse_float(std::string text) {
    const bool is_given = !text.empty();
    std::erase_if(text, [](char letter) { return letter == ',' || letter == 'f'; });
    if (is_given && text.empty()) {
        text = ",";
    }
    return static_cast<float>(Poco::NumberParser::parseFloat(text, '.', ','));
}

template <class T>
T convert_attribute(std::string text) {
    if constexpr (std::is_same_v<T, bool>) {
        return Poco::NumberParser::parseBool(text);
    } else if constexpr (std::is_same_v<T, int>) {
        return Poco::NumberParser::parse(text, ',');
    } else if constexpr (std::is_same_v<T, float>) {
        return parse_float(std::move(text));
    } else if constexpr (std::is_same_v<T, TimePoint>) {
        return date_time_from_iso8601_string(text);
    } else {
        return text;
    }
}

}  // namespace

AMessage::AMessage(std::shared_ptr<InformationModel> model, const Poco::XML::Node* request,
                   const Poco::XML::NamespaceSupport& namespaces)
    : request_(request),
      namespaces_(&namespaces),
      document_(create_reply_document()),
      model_(std::move(model)),
      receive_time_(std::chrono::system_clock::now()) {}

AMessage::~AMessage() = default;

Poco::XML::Document& AMessage::get_document() const {
    if (document_.isNull()) {
        throw Poco::NullPointerException();
    }
    // POCO's pointer makes what it points to const as it is itself; the document is not.
    return const_cast<Poco::XML::Document&>(*document_);
}

Poco::AutoPtr<Poco::XML::Document> AMessage::generate() {
    create_envelope(get_document(), process());
    return document_;
}

void AMessage::set_result(Poco::AutoPtr<Poco::XML::Element> result,
                          const std::optional<std::string>& client_request_handle) {
    if (result.isNull()) {
        throw Poco::NullPointerException();
    }
    if (client_request_handle) {
        set_attribute(*result, reply_names::CLIENT_REQUEST_HANDLE, *client_request_handle);
    }
    set_attribute(*result, reply_names::REVISED_LOCALE_ID, "en-US");
    set_attribute(*result, reply_names::RCV_TIME, to_iso8601_string(receive_time_));
    set_attribute(*result, reply_names::REPLY_TIME, to_iso8601_string(std::chrono::system_clock::now()));
    set_attribute(*result, reply_names::SERVER_STATE, "running");
}

utility::OnScopeExit AMessage::append_result_on_exit(
    Poco::AutoPtr<Poco::XML::Element> response, const std::string& name,
    const std::optional<std::string>& client_request_handle) {
    return utility::OnScopeExit(
        [this, response = std::move(response), &name, &client_request_handle]() mutable {
            append_result(*response, name, client_request_handle);
        });
}

void AMessage::append_result(Poco::XML::Element& response, const std::string& name,
                             const std::optional<std::string>& client_request_handle) {
    auto result = create_element(get_document(), name);
    set_result(result, client_request_handle);
    response.appendChild(result);
}

const Poco::XML::Node* AMessage::get_attribute(const Poco::XML::Node* node, const std::string& name) const {
    return find_attribute(*node, XmlName::resolve(name, *namespaces_));
}

template <class T>
T AMessage::get_attribute(const Poco::XML::Node* node, const std::string& name,
                          const std::optional<T>& default_value) const {
    return get_attribute(node, XmlName::resolve(name, *namespaces_), default_value);
}

template <class T>
T AMessage::get_attribute(const Poco::XML::Node* node, const XmlName& name,
                          const std::optional<T>& default_value) const {
    if (const auto text = find_attribute_text(*node, name)) {
        return convert_attribute<T>(std::string(*text));
    }
    if (default_value) {
        return *default_value;
    }
    throw std::logic_error("Attribute not found.");
}

template bool AMessage::get_attribute(const Poco::XML::Node*, const std::string&,
                                      const std::optional<bool>&) const;
template int AMessage::get_attribute(const Poco::XML::Node*, const std::string&,
                                     const std::optional<int>&) const;
template float AMessage::get_attribute(const Poco::XML::Node*, const std::string&,
                                       const std::optional<float>&) const;
template TimePoint AMessage::get_attribute(const Poco::XML::Node*, const std::string&,
                                           const std::optional<TimePoint>&) const;
template std::string AMessage::get_attribute(const Poco::XML::Node*, const std::string&,
                                             const std::optional<std::string>&) const;
template bool AMessage::get_attribute(const Poco::XML::Node*, const XmlName&,
                                      const std::optional<bool>&) const;
template int AMessage::get_attribute(const Poco::XML::Node*, const XmlName&, const std::optional<int>&) const;
template float AMessage::get_attribute(const Poco::XML::Node*, const XmlName&,
                                       const std::optional<float>&) const;
template TimePoint AMessage::get_attribute(const Poco::XML::Node*, const XmlName&,
                                           const std::optional<TimePoint>&) const;
template std::string AMessage::get_attribute(const Poco::XML::Node*, const XmlName&,
                                             const std::optional<std::string>&) const;

std::optional<std::string> AMessage::get_optional_attribute(const Poco::XML::Node* node,
                                                            const XmlName& name) const {
    return std::optional<std::string>(find_attribute_text(*node, name));
}

Poco::AutoPtr<Poco::XML::Element> AMessage::create_value(const Value& value) const {
    get_document();
    return create_value_element(document_, value);
}

}  // namespace kx::information_model::opc
