#include "gateway/soap/requests.h"

#include "gateway/soap/SoapFault.h"
#include "gateway/soap/times.h"
#include "gateway/values/trim.h"

#include "client/errors.h"
#include "client/namespaces.h"
#include "client/xml/schema_texts.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace gateway {
namespace {

using xmlda::XmlElement;

constexpr std::size_t MOST_TAGS = 1'000'000;
constexpr std::size_t MOST_ATTRIBUTES = 2'000'000;
constexpr std::size_t MOST_ATTRIBUTES_OF_AN_ELEMENT = 4000;
constexpr std::size_t MOST_INHERITED = 32U << 20U;  // bytes that the items of a list have from it, together
constexpr char NEXT_ACTOR[] = "http://schemas.xmlsoap.org/soap/actor/next";
constexpr char PROPERTY_NAMESPACE[] = "urn:telvix:information-model:1.0";

[[noreturn]] void refuse(const std::string& text) {
    throw SoapFault("", text);
}

/// An attribute; an empty one counts as absent.
std::optional<std::string_view> find(const XmlElement& element, std::string_view name) {
    auto text = element.find_attribute(name);
    if (text && text->empty()) {
        text.reset();
    }
    return text;
}

std::string_view get(const XmlElement& element, std::string_view name) {
    return element.find_attribute(name).value_or("");
}

std::string get_text(const XmlElement& element, std::string_view name) {
    return std::string(get(element, name));
}

std::optional<std::string> to_string(std::optional<std::string_view> text) {
    return text ? std::optional(std::string(*text)) : std::nullopt;
}

bool get_flag(const XmlElement& element, std::string_view name, bool otherwise) {
    const std::string_view text = trim(get(element, name));
    if (text.empty()) {
        return otherwise;
    }
    if (text == "true" || text == "1") {
        return true;
    }
    if (text != "false" && text != "0") {
        refuse(std::string(name) + ": '" + std::string(text) + "' is not true or false");
    }
    return false;
}

std::int32_t get_integer(const XmlElement& element, std::string_view name) {
    const std::string_view text = trim(get(element, name));
    if (text.empty()) {
        return 0;
    }
    std::int32_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size()) {
        refuse(std::string(name) + ": '" + std::string(text) + "' is not a whole number of 32 bits");
    }
    return number;
}

float get_deadband(const XmlElement& element, float otherwise) {
    const std::string_view text = trim(get(element, "Deadband"));
    if (text.empty()) {
        return otherwise;
    }
    float number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || !(number >= 0 && number <= 100)) {
        refuse("Deadband: '" + std::string(text) + "' is not a number from 0 to 100");
    }
    return number;
}

RequestOptions read_own_options(const XmlElement& element) {
    RequestOptions options;
    options.error_text = get_flag(element, "ReturnErrorText", false);
    options.request_handle = to_string(element.find_attribute("ClientRequestHandle"));
    options.locale = get_text(element, "LocaleID");
    return options;
}

RequestOptions read_options(const XmlElement& request) {
    RequestOptions options;
    if (const auto element = request.find_child("Options")) {
        options.error_text = get_flag(*element, "ReturnErrorText", true);
        options.item_time = get_flag(*element, "ReturnItemTime", false);
        options.item_path = get_flag(*element, "ReturnItemPath", false);
        options.item_name = get_flag(*element, "ReturnItemName", false);
        options.request_handle = to_string(element->find_attribute("ClientRequestHandle"));
        options.locale = get_text(*element, "LocaleID");
    }
    return options;
}

/// What the items of a list share.
struct ListDefaults {
    std::optional<std::string> path;
    std::string type;
    float deadband = 0;
};

std::string get_type(const XmlElement& element, const std::string& otherwise) {
    const auto text = find(element, "ReqType");
    return text ? element.resolve(trim(*text)).name : otherwise;
}

void read_item(RequestedItem& item, const XmlElement& element, const ListDefaults& defaults) {
    item.path = to_string(find(element, "ItemPath"));
    if (!item.path) {
        item.path = defaults.path;
    }
    item.name = get_text(element, "ItemName");
    item.handle = to_string(element.find_attribute("ClientItemHandle"));
    item.type = get_type(element, defaults.type);
    item.deadband = get_deadband(element, defaults.deadband);
    item.value.kind = xmlda::Value::Kind::NIL;
}

std::vector<RequestedItem> read_items(const XmlElement& request) {
    std::vector<RequestedItem> items;
    const auto list = request.find_child("ItemList");
    if (!list) {
        return items;
    }
    const ListDefaults defaults{.path = to_string(find(*list, "ItemPath")),
                                .type = get_type(*list, ""),
                                .deadband = get_deadband(*list, 0)};
    const auto elements = list->find_children("Items");
    const std::size_t count = elements.count();
    if ((get(*list, "ItemPath").size() + defaults.type.size()) * count > MOST_INHERITED) {
        throw SoapFault("E_OUTOFMEMORY", "the ItemPath or ReqType of the list is too long for so many items");
    }
    items.reserve(count);
    for (const XmlElement& element : elements) {
        RequestedItem& item = items.emplace_back();
        read_item(item, element, defaults);
        if (const auto value = element.find_child("Value")) {
            item.value = xmlda::parse_value(*value);
        }
        if (const auto quality = element.find_child("Quality")) {
            item.has_extras =
                get(*quality, "QualityField") != "good" && !get(*quality, "QualityField").empty();
        }
        item.has_extras = item.has_extras || !get(element, "Timestamp").empty();
    }
    return items;
}

PropertyRequest read_properties(const XmlElement& request) {
    PropertyRequest properties;
    properties.all = get_flag(request, "ReturnAllProperties", false);
    properties.values = get_flag(request, "ReturnPropertyValues", false);
    for (const XmlElement& element : request.find_children("PropertyNames")) {
        const std::string whole = element.get_text();
        const std::string text(trim(whole));
        if (!xmlda::is_qualified_name(text)) {
            refuse("PropertyNames: '" + text + "' is not a name");
        }
        const xmlda::QualifiedName name = element.resolve(text);
        properties.names.push_back(name.namespace_uri == PROPERTY_NAMESPACE ? "telvix:" + name.name
                                                                            : name.name);
    }
    return properties;
}

/// A header that must be understood, by the last who receives the message or by everybody: the gateway
/// understands none.
bool is_for_gateway(const XmlElement& header) {
    const auto get = [&header](std::string_view name) {
        return trim(header.find_attribute_of(xmlda::namespaces::SOAP, name).value_or(""));
    };
    const std::string_view actor = get("actor");
    return get("mustUnderstand") == "1" && (actor.empty() || actor == NEXT_ACTOR);
}

void check_headers(const XmlElement& envelope) {
    const auto header = envelope.find_child("Header");
    if (!header) {
        return;
    }
    for (const XmlElement entry : header->get_children()) {
        if (is_for_gateway(entry)) {
            throw SoapFault(SoapFault::MUST_UNDERSTAND,
                            "the header '" + std::string(entry.get_name()) + "' is not understood");
        }
    }
}

XmlElement find_request(const XmlElement& root) {
    if (root.get_name() != "Envelope" || root.get_namespace() != xmlda::namespaces::SOAP) {
        refuse("the request is not a SOAP 1.1 envelope");
    }
    check_headers(root);
    const auto body = root.find_child("Body");
    if (!body) {
        refuse("the envelope has no body");
    }
    const auto children = body->get_children();
    if (children.empty()) {
        refuse("the body of the envelope is empty");
    }
    return children.front();
}

/// Counts a character many at a time: as long as the sums are single bytes, compilers do that by themselves.
std::size_t count(std::string_view text, char wanted) {
    constexpr std::size_t MOST_OF_A_BYTE = 255;
    std::size_t total = 0;
    while (!text.empty()) {
        unsigned char part = 0;
        for (const char character : text.substr(0, MOST_OF_A_BYTE)) {
            part = static_cast<unsigned char>(part + (character == wanted ? 1U : 0U));
        }
        total += part;
        text.remove_prefix(std::min(text.size(), MOST_OF_A_BYTE));
    }
    return total;
}

/// libxml2 compares each attribute with all others of its element. What looks like an attribute in a text
/// counts as well.
bool has_crowded_element(std::string_view document) {
    constexpr std::string_view BETWEEN("\0 \t\r\n", 5);  // "=" and what it gives; with zeros in UTF-16
    std::size_t attributes = 0;
    for (std::size_t i = 0; i < document.size(); ++i) {
        if (document[i] == '<') {
            attributes = 0;
        } else if (document[i] == '=') {
            const std::size_t next = document.find_first_not_of(BETWEEN, i + 1);
            const bool is_quote =
                next != std::string_view::npos && (document[next] == '"' || document[next] == '\'');
            if (is_quote && ++attributes > MOST_ATTRIBUTES_OF_AN_ELEMENT) {
                return true;
            }
        }
    }
    return false;
}

/// What a small document may become in memory is limited before it is parsed.
const std::string& check_size(const std::string& document) {
    const std::size_t attributes = count(document, '=');
    if (count_elements(document) > MOST_TAGS || attributes > MOST_ATTRIBUTES) {
        throw SoapFault("E_OUTOFMEMORY", "the request has too many elements");
    }
    if (attributes > MOST_ATTRIBUTES_OF_AN_ELEMENT && has_crowded_element(document)) {
        throw SoapFault("E_OUTOFMEMORY", "an element of the request has too many attributes");
    }
    return document;
}

xmlda::XmlDocument parse(const std::string& document) {
    try {
        return xmlda::XmlDocument(check_size(document), xmlda::Encodings::WITH_ASCII);
    } catch (const xmlda::UnexpectedMessage& error) {
        refuse(error.what());
    }
}

}  // namespace

std::size_t count_elements(const std::string& document) {
    return count(document, '<');
}

SoapRequest::SoapRequest(const std::string& document)
    : document_(parse(document)), request_(find_request(document_.get_root())) {}

std::string SoapRequest::get_service() const {
    return std::string(request_.get_name());
}

GetStatusRequest SoapRequest::read_get_status() const {
    return {.options = read_own_options(request_)};
}

ReadRequest SoapRequest::read_read() const {
    return {.options = read_options(request_), .items = read_items(request_)};
}

WriteRequest SoapRequest::read_write() const {
    return {.options = read_options(request_),
            .return_values = get_flag(request_, "ReturnValuesOnReply", false),
            .items = read_items(request_)};
}

SubscribeRequest SoapRequest::read_subscribe() const {
    return {
        .options = read_options(request_),
        .return_values = get_flag(request_, "ReturnValuesOnReply", false),
        .ping_rate = std::chrono::milliseconds(std::max(0, get_integer(request_, "SubscriptionPingRate"))),
        .items = read_items(request_)};
}

RefreshRequest SoapRequest::read_refresh() const {
    RefreshRequest refresh;
    refresh.options = read_options(request_);
    for (const XmlElement& element : request_.find_children("ServerSubHandles")) {
        refresh.handles.emplace_back(trim(element.get_text()));
    }
    if (const std::string text(trim(get(request_, "HoldTime"))); !text.empty()) {
        refresh.hold_until = parse_date_time(text);
        if (!refresh.hold_until) {
            refuse("HoldTime: '" + text + "' is not a time");
        }
    }
    refresh.wait = std::chrono::milliseconds(std::max(0, get_integer(request_, "WaitTime")));
    refresh.return_all = get_flag(request_, "ReturnAllItems", false);
    return refresh;
}

CancelRequest SoapRequest::read_cancel() const {
    return {.handle = std::string(trim(get(request_, "ServerSubHandle"))),
            .request_handle = to_string(request_.find_attribute("ClientRequestHandle"))};
}

BrowseRequest SoapRequest::read_browse() const {
    BrowseRequest browse;
    browse.options = read_own_options(request_);
    read_item(browse.item, request_, {});
    browse.continuation_point = get_text(request_, "ContinuationPoint");
    browse.most_elements =
        static_cast<std::size_t>(std::max(0, get_integer(request_, "MaxElementsReturned")));
    browse.filter = std::string(find(request_, "BrowseFilter").value_or("all"));
    browse.name_filter = get_text(request_, "ElementNameFilter");
    browse.properties = read_properties(request_);
    return browse;
}

GetPropertiesRequest SoapRequest::read_get_properties() const {
    GetPropertiesRequest request;
    request.options = read_own_options(request_);
    request.properties = read_properties(request_);
    const ListDefaults defaults{.path = to_string(find(request_, "ItemPath")), .type = {}, .deadband = 0};
    for (const XmlElement& element : request_.find_children("ItemIDs")) {
        read_item(request.items.emplace_back(), element, defaults);
    }
    return request;
}

}  // namespace gateway
