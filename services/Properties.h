#pragma once

#include "server/message/AMessage.h"
#include "services/property_catalogue.h"
#include "xml/reply/ChildWriter.h"

#include <information_model/Domain.h>
#include <information_model/Path.h>
#include <information_model/Variable.h>

#include <set>
#include <span>
#include <string>

namespace kx::information_model::opc {

/// Base of the services that report properties of items: knows which ones the client asks for, and writes
/// them.
class Properties : public AMessage {
public:
    /// Reads "ReturnAllProperties", "ReturnPropertyValues" and, unless all properties are wanted, the texts
    /// of the "PropertyNames" children.
    /// @throws Poco::SyntaxException  if one of the two attributes is no bool
    Properties(std::shared_ptr<InformationModel> model, const Poco::XML::Node* request,
               const Poco::XML::NamespaceSupport& namespaces);
    ~Properties() override;

protected:
    /// Appends an element for each property that the client asks for and the item has, in the catalogue's
    /// order: "Name" and "Description" are both the property's name, and a child "Value" carries its value if
    /// the client asks for values. Names that are no property of the item are ignored.
    ///
    /// Requires: tree lock held.
    /// @throws std::invalid_argument, BadValueTypeException  if a property that was asked for has no value to
    ///                                                       write: the variable's type cannot be served, or
    ///                                                       its content is of another type
    void insert_properties(Poco::AutoPtr<Poco::XML::Element> parent, const std::string& element_name,
                           const Domain& item) const;
    void insert_properties(Poco::AutoPtr<Poco::XML::Element> parent, const std::string& element_name,
                           const Variable& item) const;

    /// Reads the attribute "ItemName" of a request's element. Absent or empty, it means ".".
    /// @throws InvalidPathException  if it is no path
    Path get_item_path(const Poco::XML::Node& node) const;

private:
    bool is_selected(const std::string& name) const;

    template <class ItemKind>
    void insert_selected(Poco::XML::Element& parent, const std::string& element_name, const ItemKind& item,
                         std::span<const Property<ItemKind>> properties) const;

    template <class ItemKind>
    static void write_property_value(ChildWriter& writer, const Property<ItemKind>& property,
                                     const ItemKind& item);

    bool return_all_properties_;
    bool return_property_values_;
    std::set<std::string> property_names_;  // empty if all properties are wanted
};

}  // namespace kx::information_model::opc
