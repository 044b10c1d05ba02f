#include "server/message/RequestOptions.h"

#include "xml/request/request_dom.h"
#include "xml/xml_names.h"

namespace kx::information_model::opc {

RequestOptions read_options(const AMessage& message, const Poco::XML::Node& request) {
    RequestOptions options;
    const Poco::XML::Node* node = find_child(request, request_names::OPTIONS);
    if (node == nullptr) {
        return options;
    }
    const std::optional<bool> on = true;
    options.return_error_text = message.get_attribute(node, request_names::RETURN_ERROR_TEXT, on);
    options.return_diagnostic_info = message.get_attribute(node, request_names::RETURN_DIAGNOSTIC_INFO, on);
    options.return_item_time = message.get_attribute(node, request_names::RETURN_ITEM_TIME, on);
    options.return_item_path = message.get_attribute(node, request_names::RETURN_ITEM_PATH, on);
    options.client_request_handle =
        message.get_optional_attribute(node, request_names::CLIENT_REQUEST_HANDLE);
    return options;
}

}  // namespace kx::information_model::opc
