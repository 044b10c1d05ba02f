#include "services/GetProperties.h"

#include "services/item_lookup.h"
#include "xml/reply/reply_dom.h"
#include "xml/request/request_dom.h"
#include "xml/xml_names.h"

#include <shared_mutex>

namespace kx::information_model::opc {

GetProperties::GetProperties(std::shared_ptr<InformationModel> model, const Poco::XML::Node* request,
                             const Poco::XML::NamespaceSupport& namespaces)
    : Properties(std::move(model), request, namespaces),
      client_request_handle_(get_optional_attribute(request, request_names::CLIENT_REQUEST_HANDLE)) {
    for_each_child(*request, request_names::ITEM_IDS,
                   [this](const Poco::XML::Node& node) { item_paths_.push_back(get_item_path(node)); });
}

GetProperties::~GetProperties() = default;

Poco::AutoPtr<Poco::XML::Element> GetProperties::process() {
    auto response = create_element(get_document(), reply_names::GET_PROPERTIES_RESPONSE);
    const auto result =
        append_result_on_exit(response, reply_names::GET_PROPERTIES_RESULT, client_request_handle_);
    const Item& root = get_root_item(get_model());
    Diagnostics diagnostics;
    const std::shared_lock<const Tree> lock(root);
    for (const Path& path : item_paths_) {
        if (const Item* item = find_or_report(root, path, "error not found: ", diagnostics)) {
            to_xml(response, *item);
        }
    }
    return response;
}

void GetProperties::to_xml(Poco::AutoPtr<Poco::XML::Element> parent, const Item& item) const {
    visit_item(item, [&](const auto& found) {
        auto list = create_property_lists(found);
        insert_properties(list, reply_names::PROPERTIES, found);
        parent->appendChild(list);
    });
}

Poco::AutoPtr<Poco::XML::Element> GetProperties::create_property_lists(const Item& item) const {
    auto element = create_element(get_document(), reply_names::PROPERTY_LISTS);
    set_attribute(*element, reply_names::NAME, item.get_name().as_string());
    set_attribute(*element, reply_names::ITEM_NAME, item.get_path().as_string());
    return element;
}

}  // namespace kx::information_model::opc
