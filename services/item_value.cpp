#include "services/item_value.h"

#include "xml/reply/reply_dom.h"
#include "xml/xml_names.h"

#include <information_model/TimePoint.h>
#include <information_model/Variable.h>

#include <chrono>

namespace kx::information_model::opc {

Poco::AutoPtr<Poco::XML::Element> create_item_value(const AMessage& message, Poco::XML::Document& document,
                                                    const std::string& name, const Item& item,
                                                    const ItemValueForm& form) {
    const auto* const variable =
        item.get_item_type() == ITEM_TYPE::VARIABLE ? static_cast<const Variable*>(&item) : nullptr;
    auto element = create_element(document, name);
    set_attribute(*element, reply_names::ITEM_NAME, item.get_path().as_string());
    if (form.client_item_handle != nullptr) {
        set_attribute(*element, reply_names::CLIENT_ITEM_HANDLE, *form.client_item_handle);
    }
    if (form.has_timestamp) {
        const TimePoint time =
            variable == nullptr ? std::chrono::system_clock::now() : variable->get_timestamp();
        set_attribute(*element, reply_names::TIMESTAMP, to_iso8601_string(time));
    }
    if (form.has_value && variable != nullptr) {
        element->appendChild(message.create_value(variable->get_value()));
    }
    return element;
}

}  // namespace kx::information_model::opc
