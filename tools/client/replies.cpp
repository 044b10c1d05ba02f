#include "client/replies.h"

#include "client/envelope.h"
#include "client/errors.h"
#include "client/namespaces.h"

#include <map>
#include <utility>

namespace xmlda {
namespace {

std::string get_attribute(const XmlElement& element, std::string_view name) {
    return std::string(element.find_attribute(name).value_or(""));
}

std::optional<std::string> find_attribute(const XmlElement& element, std::string_view name) {
    const auto text = element.find_attribute(name);
    return text ? std::optional(std::string(*text)) : std::nullopt;
}

bool get_flag(const XmlElement& element, std::string_view name) {
    const std::string_view text = element.find_attribute(name).value_or("");
    return text == "true" || text == "1";
}

std::vector<std::string> get_child_texts(const XmlElement& element, std::string_view name) {
    std::vector<std::string> texts;
    for (const XmlElement& child : element.find_children(name)) {
        texts.push_back(child.get_text());
    }
    return texts;
}

/// The texts of the codes that a response uses.
class ErrorTexts {
public:
    explicit ErrorTexts(const XmlElement& response) {
        for (const XmlElement& error : response.find_children("Errors")) {
            texts_[error.resolve(get_attribute(error, "ID")).name] = error.get_child_text("Text");
        }
    }

    std::optional<Result> find_result(const XmlElement& element) const {
        const auto id = element.find_attribute("ResultID");
        if (!id || id->empty()) {
            return std::nullopt;
        }
        const std::string code = element.resolve(*id).name;
        const auto text = texts_.find(code);
        return Result{code, text == texts_.end() ? "" : text->second};
    }

private:
    std::map<std::string, std::string> texts_;  // by code
};

std::optional<Value> find_value(const XmlElement& element) {
    const auto value = element.find_child("Value");
    return value ? std::optional(parse_value(*value)) : std::nullopt;
}

std::optional<Quality> find_quality(const XmlElement& element) {
    const auto quality = element.find_child("Quality");
    if (!quality) {
        return std::nullopt;
    }
    return parse_quality(*quality);
}

ItemReply parse_item(const XmlElement& element, const ErrorTexts& errors) {
    return {.handle = find_attribute(element, "ClientItemHandle"),
            .name = find_attribute(element, "ItemName"),
            .timestamp = find_attribute(element, "Timestamp"),
            .value = find_value(element),
            .quality = find_quality(element),
            .result = errors.find_result(element),
            .diagnostic = element.get_child_text("DiagnosticInfo")};
}

/// The items of all lists of a response.
std::vector<ItemReply> parse_item_lists(const XmlElement& response) {
    const ErrorTexts errors(response);
    std::vector<ItemReply> items;
    for (const XmlElement& list : response.find_children("RItemList")) {
        for (const XmlElement& item : list.find_children("Items")) {
            // A Subscribe response has the item one element further down.
            items.push_back(parse_item(item.find_child("ItemValue").value_or(item), errors));
        }
    }
    return items;
}

std::vector<Property> parse_properties(const XmlElement& parent, const ErrorTexts& errors) {
    const XmlElements elements = parent.find_children("Properties");
    std::vector<Property> properties;
    properties.reserve(elements.count());
    for (const XmlElement& element : elements) {
        properties.push_back({.name = std::string(get_property_name(element)),
                              .description = get_attribute(element, "Description"),
                              .value = find_value(element),
                              .result = errors.find_result(element)});
    }
    return properties;
}

BrowseElement parse_browse_element(const XmlElement& element, const ErrorTexts& errors) {
    return {.name = get_attribute(element, "Name"),
            .item_name = get_attribute(element, "ItemName"),
            .item_path = get_attribute(element, "ItemPath"),
            .is_item = get_flag(element, "IsItem"),
            .has_children = get_flag(element, "HasChildren"),
            .properties = parse_properties(element, errors)};
}

/// The reply to one request, while it is being read.
class Reply {
public:
    Reply(std::string_view bytes, const std::string& service)
        : document_(parse_envelope(bytes)), response_(unwrap(document_, service + "Response")) {
        if (const auto result = response_.find_child(service + "Result")) {
            header_ = {get_attribute(*result, "ServerState"), get_attribute(*result, "ReplyTime")};
        }
    }

    const XmlElement& get() const { return response_; }
    const ReplyHeader& get_header() const { return header_; }

private:
    XmlDocument document_;
    XmlElement response_;
    ReplyHeader header_;
};

ItemsReply parse_items_reply(std::string_view bytes, const std::string& service) {
    const Reply reply(bytes, service);
    return {reply.get_header(), parse_item_lists(reply.get())};
}

}  // namespace

std::string_view get_property_name(const XmlElement& property) {
    const std::string_view text = property.find_attribute("Name").value_or("");
    const std::size_t colon = text.find(':');
    const bool is_of_protocol =
        colon != std::string_view::npos && property.resolve(text).namespace_uri == namespaces::XMLDA;
    return is_of_protocol ? text.substr(colon + 1) : text;
}

const Value* ItemProperties::find(std::string_view name) const {
    for (const Property& property : properties) {
        if (property.name == name && property.value) {
            return &*property.value;
        }
    }
    return nullptr;
}

std::string ItemProperties::get_text(std::string_view name) const {
    const Value* const value = find(name);
    return value == nullptr ? "" : value->text;
}

StatusReply parse_status_reply(std::string_view bytes) {
    const Reply reply(bytes, "GetStatus");
    StatusReply status;
    status.header = reply.get_header();
    if (const auto element = reply.get().find_child("Status")) {
        status.info = element->get_child_text("StatusInfo");
        status.vendor = element->get_child_text("VendorInfo");
        status.version = get_attribute(*element, "ProductVersion");
        status.start_time = get_attribute(*element, "StartTime");
        status.locales = get_child_texts(*element, "SupportedLocaleIDs");
        status.interfaces = get_child_texts(*element, "SupportedInterfaceVersions");
    }
    return status;
}

BrowseReply parse_browse_reply(std::string_view bytes) {
    const Reply reply(bytes, "Browse");
    const XmlElement& response = reply.get();
    const ErrorTexts errors(response);
    BrowseReply browsed;
    browsed.header = reply.get_header();
    for (const XmlElement& element : response.find_children("Elements")) {
        browsed.elements.push_back(parse_browse_element(element, errors));
    }
    browsed.continuation_point = get_attribute(response, "ContinuationPoint");
    // A server that gives a point to go on from has more, unless it says that it has not.
    const bool says_more = response.find_attribute("MoreElements").has_value();
    browsed.has_more = says_more ? get_flag(response, "MoreElements") : !browsed.continuation_point.empty();
    return browsed;
}

PropertiesReply parse_properties_reply(std::string_view bytes) {
    const Reply reply(bytes, "GetProperties");
    const ErrorTexts errors(reply.get());
    PropertiesReply properties;
    properties.header = reply.get_header();
    const XmlElements lists = reply.get().find_children("PropertyLists");
    properties.items.reserve(lists.count());
    for (const XmlElement& list : lists) {
        properties.items.push_back({.item_name = get_attribute(list, "ItemName"),
                                    .item_path = get_attribute(list, "ItemPath"),
                                    .result = errors.find_result(list),
                                    .properties = parse_properties(list, errors)});
    }
    return properties;
}

ItemsReply parse_read_reply(std::string_view bytes) {
    return parse_items_reply(bytes, "Read");
}

ItemsReply parse_write_reply(std::string_view bytes) {
    return parse_items_reply(bytes, "Write");
}

SubscribeReply parse_subscribe_reply(std::string_view bytes) {
    const Reply reply(bytes, "Subscribe");
    return {.header = reply.get_header(),
            .handle = get_attribute(reply.get(), "ServerSubHandle"),
            .items = parse_item_lists(reply.get())};
}

RefreshReply parse_refresh_reply(std::string_view bytes) {
    const Reply reply(bytes, "SubscriptionPolledRefresh");
    return {.header = reply.get_header(),
            .items = parse_item_lists(reply.get()),
            .is_subscription_lost = reply.get().find_child("InvalidServerSubHandles").has_value(),
            .has_overflowed = get_flag(reply.get(), "DataBufferOverflow")};
}

CancelReply parse_cancel_reply(std::string_view bytes) {
    return {Reply(bytes, "SubscriptionCancel").get_header()};
}

}  // namespace xmlda
