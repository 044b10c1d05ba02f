#include "services/GetStatus.h"

#include "xml/reply/reply_dom.h"
#include "xml/xml_names.h"

namespace kx::information_model::opc {

GetStatus::GetStatus(std::shared_ptr<InformationModel> model, const Poco::XML::Node* request,
                     const Poco::XML::NamespaceSupport& namespaces)
    : AMessage(std::move(model), request, namespaces),
      locale_id_(get_optional_attribute(request, request_names::LOCALE_ID)),
      client_request_handle_(get_optional_attribute(request, request_names::CLIENT_REQUEST_HANDLE)) {}

GetStatus::~GetStatus() = default;

Poco::AutoPtr<Poco::XML::Element> GetStatus::process() {
    auto response = create_element(get_document(), reply_names::GET_STATUS_RESPONSE);
    const auto result =
        append_result_on_exit(response, reply_names::GET_STATUS_RESULT, client_request_handle_);

    auto status = create_element(get_document(), reply_names::STATUS);
    // The same at every start. Kept: clients rely on it.
    set_attribute(*status, reply_names::START_TIME, "2003-05-26T20:16:45.0937500-07:00");
    set_attribute(*status, reply_names::PRODUCT_VERSION, "0.0.0.1");
    append_text_element(*status, reply_names::VENDOR_INFO, "Brevandor OPC XML DA Server");
    append_text_element(*status, reply_names::SUPPORTED_LOCALE_IDS, "en-US");
    append_text_element(*status, reply_names::SUPPORTED_INTERFACE_VERSIONS, "XML_DA_Version_1_0");
    response->appendChild(status);
    return response;
}

}  // namespace kx::information_model::opc
