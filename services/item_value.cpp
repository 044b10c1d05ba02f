#include "services/item_value.h"

#include "codec/value_writer.h"
#include "xml/xml_names.h"

#include <information_model/TimePoint.h>
#include <information_model/Variable.h>

#include <chrono>

namespace kx::information_model::opc {

void write_item_value(ChildWriter& writer, std::string_view name, const Item& item,
                      const ItemValueForm& form) {
    const auto* const variable =
        item.get_item_type() == ITEM_TYPE::VARIABLE ? static_cast<const Variable*>(&item) : nullptr;
    writer.begin(name);
    if (form.client_item_handle != nullptr) {
        writer.set_attribute(reply_names::CLIENT_ITEM_HANDLE, *form.client_item_handle);
    }
    writer.set_attribute(reply_names::ITEM_NAME,
                         form.item_name != nullptr ? *form.item_name : item.get_path().as_string());
    if (form.has_timestamp) {
        const TimePoint time =
            variable == nullptr ? std::chrono::system_clock::now() : variable->get_timestamp();
        writer.set_attribute(reply_names::TIMESTAMP, to_iso8601_string(time));
    }
    if (form.has_value && variable != nullptr) {
        write_value_element(writer, variable->get_value());
    }
    writer.end(name);
}

}  // namespace kx::information_model::opc
