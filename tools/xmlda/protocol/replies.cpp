#include "xmlda/protocol/replies.h"

#include "xmlda/soap/namespaces.h"

#include <map>

namespace xmlda {
namespace {

std::string get_attribute(const XmlElement& element, std::string_view name) {
    return element.find_attribute(name).value_or("");
}

bool get_flag(const XmlElement& element, std::string_view name) {
    const std::string text = get_attribute(element, name);
    return text == "true" || text == "1";
}

std::string get_child_text(const XmlElement& element, std::string_view name) {
    const XmlElement* const child = element.find_child(name);
    return child == nullptr ? "" : child->get_text();
}

std::vector<std::string> get_child_texts(const XmlElement& element, std::string_view name) {
    std::vector<std::string> texts;
    for (const XmlElement* const child : element.find_children(name)) {
        texts.push_back(child->get_text());
    }
    return texts;
}

/// The texts of the codes that a response uses.
class ErrorTexts {
public:
    explicit ErrorTexts(const XmlElement& response) {
        for (const XmlElement* const error : response.find_children("Errors")) {
            texts_[error->resolve(get_attribute(*error, "ID")).name] = get_child_text(*error, "Text");
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
    const XmlElement* const value = element.find_child("Value");
    return value == nullptr ? std::nullopt : std::optional(parse_value(*value));
}

std::optional<Quality> find_quality(const XmlElement& element) {
    const XmlElement* const quality = element.find_child("Quality");
    if (quality == nullptr) {
        return std::nullopt;
    }
    const Quality ordinary;
    return Quality{quality->find_attribute("QualityField").value_or(ordinary.field),
                   quality->find_attribute("LimitField").value_or(ordinary.limit),
                   quality->find_attribute("VendorField").value_or(ordinary.vendor)};
}

ItemReply parse_item(const XmlElement& element, const ErrorTexts& errors) {
    return {.handle = element.find_attribute("ClientItemHandle"),
            .name = element.find_attribute("ItemName"),
            .timestamp = element.find_attribute("Timestamp"),
            .value = find_value(element),
            .quality = find_quality(element),
            .result = errors.find_result(element),
            .diagnostic = get_child_text(element, "DiagnosticInfo")};
}

/// The items of all lists of a response.
std::vector<ItemReply> parse_item_lists(const XmlElement& response) {
    const ErrorTexts errors(response);
    std::vector<ItemReply> items;
    for (const XmlElement* const list : response.find_children("RItemList")) {
        for (const XmlElement* const item : list->find_children("Items")) {
            // A Subscribe response has the item one element further down.
            const XmlElement* const inner = item->find_child("ItemValue");
            items.push_back(parse_item(inner == nullptr ? *item : *inner, errors));
        }
    }
    return items;
}

std::string get_property_name(const XmlElement& element) {
    const std::string text = get_attribute(element, "Name");
    const QualifiedName name = element.resolve(text);
    return name.namespace_uri == namespaces::XMLDA ? name.name : text;
}

std::vector<Property> parse_properties(const XmlElement& parent, const ErrorTexts& errors) {
    std::vector<Property> properties;
    for (const XmlElement* const element : parent.find_children("Properties")) {
        properties.push_back({.name = get_property_name(*element),
                              .description = get_attribute(*element, "Description"),
                              .value = find_value(*element),
                              .result = errors.find_result(*element)});
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

}  // namespace

std::string Quality::to_text() const {
    const Quality ordinary;
    return field + (limit == ordinary.limit ? "" : ", limit " + limit) +
           (vendor == ordinary.vendor ? "" : ", vendor " + vendor);
}

StatusReply parse_status_reply(const XmlElement& response) {
    StatusReply reply;
    if (const XmlElement* const result = response.find_child("GetStatusResult")) {
        reply.state = get_attribute(*result, "ServerState");
        reply.reply_time = get_attribute(*result, "ReplyTime");
    }
    if (const XmlElement* const status = response.find_child("Status")) {
        reply.info = get_child_text(*status, "StatusInfo");
        reply.vendor = get_child_text(*status, "VendorInfo");
        reply.version = get_attribute(*status, "ProductVersion");
        reply.start_time = get_attribute(*status, "StartTime");
        reply.locales = get_child_texts(*status, "SupportedLocaleIDs");
        reply.interfaces = get_child_texts(*status, "SupportedInterfaceVersions");
    }
    return reply;
}

BrowseReply parse_browse_reply(const XmlElement& response) {
    const ErrorTexts errors(response);
    BrowseReply reply;
    for (const XmlElement* const element : response.find_children("Elements")) {
        reply.elements.push_back(parse_browse_element(*element, errors));
    }
    reply.continuation_point = get_attribute(response, "ContinuationPoint");
    // A server that gives a point to go on from has more, unless it says that it has not.
    const bool says_more = response.find_attribute("MoreElements").has_value();
    reply.has_more = says_more ? get_flag(response, "MoreElements") : !reply.continuation_point.empty();
    return reply;
}

PropertiesReply parse_properties_reply(const XmlElement& response) {
    const ErrorTexts errors(response);
    const XmlElement* const list = response.find_child("PropertyLists");
    if (list == nullptr) {
        return {};
    }
    return {.result = errors.find_result(*list), .properties = parse_properties(*list, errors)};
}

std::vector<ItemReply> parse_items_reply(const XmlElement& response) {
    return parse_item_lists(response);
}

SubscribeReply parse_subscribe_reply(const XmlElement& response) {
    return {.handle = get_attribute(response, "ServerSubHandle"), .items = parse_item_lists(response)};
}

RefreshReply parse_refresh_reply(const XmlElement& response) {
    return {.items = parse_item_lists(response),
            .is_subscription_lost = response.find_child("InvalidServerSubHandles") != nullptr,
            .has_overflowed = get_flag(response, "DataBufferOverflow")};
}

}  // namespace xmlda
