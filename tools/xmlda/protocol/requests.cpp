#include "xmlda/protocol/requests.h"

#include "xmlda/protocol/type_names.h"
#include "xmlda/soap/XmlWriter.h"

namespace xmlda {
namespace {

constexpr char YES[] = "true";
constexpr char NO[] = "false";

void write_address(XmlWriter& writer, const ItemAddress& address) {
    if (!address.path.empty()) {
        writer.attribute("ItemPath", address.path);
    }
    writer.attribute("ItemName", address.name);
}

void write_options(XmlWriter& writer) {
    writer.start("Options")
        .attribute("ReturnErrorText", YES)
        .attribute("ReturnDiagnosticInfo", NO)
        .attribute("ReturnItemTime", YES)
        .attribute("ReturnItemPath", NO)
        .attribute("ReturnItemName", YES)
        .end();
}

/// Starts an item of a list; more attributes and children may follow.
void start_item(XmlWriter& writer, const ItemAddress& address, std::size_t index) {
    writer.start("Items");
    write_address(writer, address);
    writer.attribute("ClientItemHandle", to_item_handle(index));
}

void write_items(XmlWriter& writer, const std::vector<ItemAddress>& addresses) {
    for (std::size_t i = 0; i < addresses.size(); ++i) {
        start_item(writer, addresses[i], i);
        writer.end();
    }
}

void write_value(XmlWriter& writer, const OutgoingValue& value) {
    writer.start("Value").attribute("xsi:type", to_request_type(value.type));
    if (is_array_type(value.type)) {
        for (const std::string& text : value.texts) {
            writer.element(get_member_type(value.type), text);
        }
    } else {
        writer.text(value.texts.front());
    }
    writer.end();
}

}  // namespace

std::string to_item_handle(std::size_t index) {
    return std::to_string(index + 1);
}

std::string create_status_request() {
    return XmlWriter().start("GetStatus").end().get();
}

std::string create_browse_request(const ItemAddress& address, bool with_properties,
                                  const std::string& continuation_point) {
    XmlWriter writer;
    writer.start("Browse");
    if (!address.path.empty()) {
        writer.attribute("ItemPath", address.path);
    }
    if (!address.name.empty()) {
        writer.attribute("ItemName", address.name);  // none is the root, under whatever name a server has it
    }
    if (!continuation_point.empty()) {
        writer.attribute("ContinuationPoint", continuation_point);
    }
    writer.attribute("BrowseFilter", "all")
        .attribute("ReturnAllProperties", with_properties ? YES : NO)
        .attribute("ReturnPropertyValues", with_properties ? YES : NO)
        .attribute("ReturnErrorText", YES);
    return writer.end().get();
}

std::string create_properties_request(const ItemAddress& address, const std::vector<std::string>& names) {
    XmlWriter writer;
    writer.start("GetProperties")
        .attribute("ReturnAllProperties", NO)
        .attribute("ReturnPropertyValues", YES)
        .attribute("ReturnErrorText", YES)
        .start("ItemIDs");
    write_address(writer, address);
    writer.end();
    for (const std::string& name : names) {
        writer.element("PropertyNames", name);
    }
    return writer.end().get();
}

std::string create_read_request(const std::vector<ItemAddress>& addresses) {
    XmlWriter writer;
    writer.start("Read");
    write_options(writer);
    writer.start("ItemList");
    write_items(writer, addresses);
    return writer.end().end().get();
}

std::string create_write_request(const std::vector<WriteItem>& items, bool with_values) {
    XmlWriter writer;
    writer.start("Write").attribute("ReturnValuesOnReply", with_values ? YES : NO);
    write_options(writer);
    writer.start("ItemList");
    for (std::size_t i = 0; i < items.size(); ++i) {
        start_item(writer, items[i].address, i);
        write_value(writer, items[i].value);
        writer.end();
    }
    return writer.end().end().get();
}

std::string create_subscribe_request(const std::vector<ItemAddress>& addresses,
                                     std::chrono::milliseconds sampling_rate,
                                     std::chrono::milliseconds ping_rate) {
    XmlWriter writer;
    writer.start("Subscribe")
        .attribute("ReturnValuesOnReply", YES)
        .attribute("SubscriptionPingRate", std::to_string(ping_rate.count()));
    write_options(writer);
    writer.start("ItemList").attribute("RequestedSamplingRate", std::to_string(sampling_rate.count()));
    write_items(writer, addresses);
    return writer.end().end().get();
}

std::string create_refresh_request(const std::string& subscription_handle) {
    XmlWriter writer;
    writer.start("SubscriptionPolledRefresh").attribute("WaitTime", "0").attribute("ReturnAllItems", NO);
    write_options(writer);
    return writer.element("ServerSubHandles", subscription_handle).end().get();
}

std::string create_cancel_request(const std::string& subscription_handle) {
    return XmlWriter()
        .start("SubscriptionCancel")
        .attribute("ServerSubHandle", subscription_handle)
        .end()
        .get();
}

}  // namespace xmlda
