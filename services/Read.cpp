#include "services/Read.h"

#include "services/item_lookup.h"
#include "xml/reply/reply_dom.h"
#include "xml/request/request_dom.h"
#include "xml/xml_names.h"

#include <shared_mutex>

namespace kx::information_model::opc {

Read::Read(std::shared_ptr<InformationModel> model, const Poco::XML::Node* request,
           const Poco::XML::NamespaceSupport& namespaces)
    : AMessage(std::move(model), request, namespaces), options_(read_options(*this, *request)) {
    const Poco::XML::Node* list = find_child(*request, request_names::ITEM_LIST);
    if (list == nullptr) {
        return;
    }
    for_each_child(*list, request_names::ITEMS, [&](const Poco::XML::Node& node) {
        items_.emplace_back(
            Path(std::string(find_attribute_text(node, request_names::ITEM_NAME).value_or("."))),
            find_attribute_text(node, request_names::CLIENT_ITEM_HANDLE).value_or(""));
    });
}

Read::~Read() = default;

Poco::AutoPtr<Poco::XML::Element> Read::process() {
    auto response = create_element(get_document(), reply_names::READ_RESPONSE);
    const auto result =
        append_result_on_exit(response, reply_names::READ_RESULT, options_.client_request_handle);
    auto list = create_element(get_document(), reply_names::R_ITEM_LIST);
    const Item& root = get_root_item(get_model());
    Diagnostics diagnostics;
    const std::shared_lock<const Tree> lock(root);
    for (const RequestItem& request_item : items_) {
        const Path& path = std::get<Path>(request_item);
        if (const Item* found = find_or_report(root, path, "error not found: ", diagnostics)) {
            visit_item(*found, [&](const auto& item) { to_xml(list, item, request_item); });
        }
    }
    response->appendChild(list);
    return response;
}

void Read::to_xml(Poco::AutoPtr<Poco::XML::Element> parent, const Domain& item,
                  const RequestItem& request_item) const {
    ChildWriter writer(*parent);
    write_item_value(writer, reply_names::ITEMS, item, get_form(request_item));
}

void Read::to_xml(Poco::AutoPtr<Poco::XML::Element> parent, const Variable& item,
                  const RequestItem& request_item) const {
    ChildWriter writer(*parent);
    write_item_value(writer, reply_names::ITEMS, item, get_form(request_item));
}

ItemValueForm Read::get_form(const RequestItem& request_item) const {
    return {.item_name = get_if_absolute(std::get<Path>(request_item)),
            .client_item_handle = get_if_not_empty(std::get<std::string>(request_item)),
            .has_timestamp = options_.return_item_time};
}

}  // namespace kx::information_model::opc
