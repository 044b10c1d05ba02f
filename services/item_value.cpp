#include "services/item_value.h"

#include "server/reply_dom.h"
#include "server/xml_names.h"

#include <chrono>

namespace kx::information_model::opc {

Poco::AutoPtr<Poco::XML::Element> create_item_value(const AMessage& message, Poco::XML::Document& document,
                                                    const std::string& name, const Item& item,
                                                    const ItemValueParts& parts) {
    auto element = create_element(document, name);
    set_attribute(*element, reply_names::ITEM_NAME, item.get_path().as_string());
    if (parts.client_item_handle != nullptr) {
        set_attribute(*element, reply_names::CLIENT_ITEM_HANDLE, *parts.client_item_handle);
    }
    if (parts.timestamp) {
        set_attribute(*element, reply_names::TIMESTAMP, to_iso8601_string(*parts.timestamp));
    }
    if (parts.value != nullptr) {
        element->appendChild(message.create_value(*parts.value));
    }
    return element;
}

std::optional<TimePoint> get_reported_time(const Domain& /*domain*/, bool return_item_time) {
    return return_item_time ? std::optional<TimePoint>(std::chrono::system_clock::now()) : std::nullopt;
}

std::optional<TimePoint> get_reported_time(const Variable& variable, bool return_item_time) {
    return return_item_time ? std::optional(variable.get_timestamp()) : std::nullopt;
}

}  // namespace kx::information_model::opc
