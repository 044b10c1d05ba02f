#include "services/Properties.h"

#include "codec/value_writer.h"
#include "xml/request/request_dom.h"
#include "xml/xml_names.h"

namespace kx::information_model::opc {

Properties::Properties(std::shared_ptr<InformationModel> model, const Poco::XML::Node* request,
                       const Poco::XML::NamespaceSupport& namespaces)
    : AMessage(std::move(model), request, namespaces),
      return_all_properties_(get_attribute<bool>(request, request_names::RETURN_ALL_PROPERTIES, false)),
      return_property_values_(get_attribute<bool>(request, request_names::RETURN_PROPERTY_VALUES, false)) {
    if (return_all_properties_) {
        return;
    }
    for_each_child(*request, request_names::PROPERTY_NAMES,
                   [this](const Poco::XML::Node& node) { property_names_.insert(node.innerText()); });
}

Properties::~Properties() = default;

void Properties::insert_properties(Poco::AutoPtr<Poco::XML::Element> parent, const std::string& element_name,
                                   const Domain& item) const {
    insert_selected(*parent, element_name, item, get_domain_properties());
}

void Properties::insert_properties(Poco::AutoPtr<Poco::XML::Element> parent, const std::string& element_name,
                                   const Variable& item) const {
    insert_selected(*parent, element_name, item, get_variable_properties());
}

Path Properties::get_item_path(const Poco::XML::Node& node) const {
    auto name = get_attribute<std::string>(&node, request_names::ITEM_NAME, ".");
    return Path(name.empty() ? "." : std::move(name));
}

bool Properties::is_selected(const std::string& name) const {
    return return_all_properties_ || property_names_.contains(name);
}

template <class ItemKind>
void Properties::insert_selected(Poco::XML::Element& parent, const std::string& element_name,
                                 const ItemKind& item, std::span<const Property<ItemKind>> properties) const {
    ChildWriter writer(parent);
    for (const Property<ItemKind>& property : properties) {
        if (!is_selected(property.name) || !property.is_present(item)) {
            continue;
        }
        writer.begin(element_name);
        writer.set_attribute(reply_names::DESCRIPTION, property.name);
        writer.set_attribute(reply_names::NAME, property.name);
        if (return_property_values_) {
            write_property_value(writer, property, item);
        }
        writer.end(element_name);
    }
}

template <class ItemKind>
void Properties::write_property_value(ChildWriter& writer, const Property<ItemKind>& property,
                                      const ItemKind& item) {
    const PropertyValue value = property.get_value(item);
    const auto* borrowed = std::get_if<const Value*>(&value);
    write_value_element(writer, borrowed == nullptr ? std::get<Value>(value) : **borrowed,
                        property.type_name);
}

}  // namespace kx::information_model::opc
