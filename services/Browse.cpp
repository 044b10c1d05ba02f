#include "services/Browse.h"

#include "server/message/Error.h"
#include "services/item_lookup.h"
#include "xml/reply/reply_dom.h"
#include "xml/xml_names.h"

#include <information_model/SymbolInfo.h>
#include <information_model/exceptions.h>

#include <shared_mutex>
#include <stdexcept>

namespace kx::information_model::opc {

namespace {

const Item& get_item(const Item& root, const Path& path) {
    if (const Item* item = root.find_item(path)) {
        return *item;
    }
    throw Error(Error::E_UNKNOWNITEMNAME);
}

std::string to_text(bool value) {
    return value ? "true" : "false";
}

}  // namespace

Browse::Browse(std::shared_ptr<InformationModel> model, const Poco::XML::Node* request,
               const Poco::XML::NamespaceSupport& namespaces)
    : Properties(std::move(model), request, namespaces),
      return_error_text_(get_attribute<bool>(request, request_names::RETURN_ERROR_TEXT, false)),
      path_(read_path()),
      client_request_handle_(get_optional_attribute(request, request_names::CLIENT_REQUEST_HANDLE)) {
    browse_filter_ = read_filter();
    if (!get_attribute<std::string>(request, request_names::ITEM_PATH, "").empty()) {
        throw Error(Error::E_UNKNOWNITEMPATH);
    }
}

Browse::~Browse() = default;

Path Browse::read_path() const {
    try {
        return get_item_path(*get_request());
    } catch (const InvalidPathException&) {
        throw Error(Error::E_INVALIDITEMNAME);
    }
}

symbol_list::BROWSE_FILTER Browse::read_filter() const {
    using Filters = symbol_list::SymbolList<symbol_list::BROWSE_FILTER>;
    const auto name = get_attribute<std::string>(get_request(), request_names::BROWSE_FILTER, "all");
    try {
        return static_cast<symbol_list::BROWSE_FILTER>(
            symbol_list::get_value_of(Filters::get_symbols(), name));
    } catch (const std::invalid_argument&) {
        throw Error(Error::E_INVALIDFILTER);
    }
}

Poco::AutoPtr<Poco::XML::Element> Browse::process() {
    auto response = create_element(get_document(), reply_names::BROWSE_RESPONSE);
    const auto result = append_result_on_exit(response, reply_names::BROWSE_RESULT, client_request_handle_);
    const Item& root = get_root_item(get_model());
    const std::shared_lock<const Tree> lock(root);
    const Item& item = get_item(root, path_);
    switch (item.get_item_type()) {
        case ITEM_TYPE::VARIABLE:
            to_xml(response, item);
            return response;
        case ITEM_TYPE::DOMAIN:
            for (const auto& child : static_cast<const Domain&>(item).get_children()) {
                to_xml(response, dynamic_cast<const Item&>(*child));
            }
            return response;
    }
    throw Error(Error::E_FAIL);
}

void Browse::to_xml(Poco::AutoPtr<Poco::XML::Element> parent, const Item& item) const {
    const auto append = [&](const auto& found, bool has_children) {
        // Domains are items too, since they can be read. Kept: clients rely on it.
        auto element = create_browse_element(found, true, has_children);
        insert_properties(element, reply_names::PROPERTIES, found);
        parent->appendChild(element);
    };
    switch (item.get_item_type()) {
        case ITEM_TYPE::VARIABLE:
            if (browse_filter_ != symbol_list::BROWSE_FILTER::BRANCH) {
                append(static_cast<const Variable&>(item), false);
            }
            return;
        case ITEM_TYPE::DOMAIN: {
            const auto& domain = static_cast<const Domain&>(item);
            append(domain, !domain.is_empty());
            return;
        }
    }
    throw Error(Error::E_FAIL);
}

Poco::AutoPtr<Poco::XML::Element> Browse::create_browse_element(const Item& item, bool is_item,
                                                                bool has_children) const {
    auto element = create_element(get_document(), reply_names::ELEMENTS);
    set_attribute(*element, reply_names::NAME, item.get_name().as_string());
    set_attribute(*element, reply_names::ITEM_NAME, item.get_path().as_string());
    set_attribute(*element, reply_names::IS_ITEM, to_text(is_item));
    set_attribute(*element, reply_names::HAS_CHILDREN, to_text(has_children));
    return element;
}

}  // namespace kx::information_model::opc
