#include "client/requests.h"

#include "client/envelope.h"
#include "client/namespaces.h"
#include "client/type_names.h"
#include "client/xml/XmlWriter.h"

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

/// Starts the element of a request.
XmlWriter start_request(const std::string& service) {
    XmlWriter writer;
    writer.start(service);
    return writer;
}

/// Ends the element of a request and puts the envelope around it.
Request finish(const std::string& service, XmlWriter& writer) {
    return {service, wrap(writer.end().get())};
}

/// Starts a request, up to its properties.
XmlWriter start_browse(const ItemAddress& address, const std::string& continuation_point) {
    XmlWriter writer = start_request("Browse");
    if (!address.path.empty()) {
        writer.attribute("ItemPath", address.path);
    }
    if (!address.name.empty()) {
        writer.attribute("ItemName", address.name);  // none is the root, under whatever name a server has it
    }
    if (!continuation_point.empty()) {
        writer.attribute("ContinuationPoint", continuation_point);
    }
    writer.attribute("BrowseFilter", "all");
    return writer;
}

Request create_properties_request(const std::vector<ItemAddress>& addresses,
                                  const std::vector<std::string>& names, bool all) {
    XmlWriter writer = start_request("GetProperties");
    writer.attribute("ReturnAllProperties", all ? YES : NO)
        .attribute("ReturnPropertyValues", YES)
        .attribute("ReturnErrorText", YES);
    for (const ItemAddress& address : addresses) {
        writer.start("ItemIDs");
        write_address(writer, address);
        writer.end();
    }
    for (const std::string& name : names) {
        writer.element("PropertyNames", name);
    }
    return finish("GetProperties", writer);
}

}  // namespace

std::string Request::get_action() const {
    return namespaces::XMLDA + service;
}

std::string to_item_handle(std::size_t index) {
    return std::to_string(index + 1);
}

Request create_status_request() {
    XmlWriter writer = start_request("GetStatus");
    return finish("GetStatus", writer);
}

Request create_browse_request(const ItemAddress& address, bool with_properties,
                              const std::string& continuation_point) {
    XmlWriter writer = start_browse(address, continuation_point);
    writer.attribute("ReturnAllProperties", with_properties ? YES : NO)
        .attribute("ReturnPropertyValues", with_properties ? YES : NO)
        .attribute("ReturnErrorText", YES);
    return finish("Browse", writer);
}

Request create_browse_request(const ItemAddress& address, const std::vector<std::string>& names,
                              const std::string& continuation_point) {
    XmlWriter writer = start_browse(address, continuation_point);
    writer.attribute("ReturnAllProperties", NO)
        .attribute("ReturnPropertyValues", YES)
        .attribute("ReturnErrorText", YES);
    for (const std::string& name : names) {
        writer.element("PropertyNames", name);
    }
    return finish("Browse", writer);
}

Request create_properties_request(const std::vector<ItemAddress>& addresses,
                                  const std::vector<std::string>& names) {
    return create_properties_request(addresses, names, false);
}

Request create_properties_request(const std::vector<ItemAddress>& addresses) {
    return create_properties_request(addresses, {}, true);
}

Request create_read_request(const std::vector<ItemAddress>& addresses) {
    XmlWriter writer = start_request("Read");
    write_options(writer);
    writer.start("ItemList");
    write_items(writer, addresses);
    writer.end();
    return finish("Read", writer);
}

Request create_write_request(const std::vector<WriteItem>& items, bool with_values) {
    XmlWriter writer = start_request("Write");
    writer.attribute("ReturnValuesOnReply", with_values ? YES : NO);
    write_options(writer);
    writer.start("ItemList");
    for (std::size_t i = 0; i < items.size(); ++i) {
        start_item(writer, items[i].address, i);
        write_value(writer, items[i].value);
        writer.end();
    }
    writer.end();
    return finish("Write", writer);
}

Request create_subscribe_request(const std::vector<ItemAddress>& addresses,
                                 std::chrono::milliseconds sampling_rate,
                                 std::chrono::milliseconds ping_rate) {
    XmlWriter writer = start_request("Subscribe");
    writer.attribute("ReturnValuesOnReply", YES)
        .attribute("SubscriptionPingRate", std::to_string(ping_rate.count()));
    write_options(writer);
    writer.start("ItemList").attribute("RequestedSamplingRate", std::to_string(sampling_rate.count()));
    write_items(writer, addresses);
    writer.end();
    return finish("Subscribe", writer);
}

Request create_refresh_request(const std::string& subscription_handle) {
    XmlWriter writer = start_request("SubscriptionPolledRefresh");
    writer.attribute("WaitTime", "0").attribute("ReturnAllItems", NO);
    write_options(writer);
    writer.element("ServerSubHandles", subscription_handle);
    return finish("SubscriptionPolledRefresh", writer);
}

Request create_cancel_request(const std::string& subscription_handle) {
    XmlWriter writer = start_request("SubscriptionCancel");
    writer.attribute("ServerSubHandle", subscription_handle);
    return finish("SubscriptionCancel", writer);
}

}  // namespace xmlda
