#pragma once

#include "services/Properties.h"

#include <information_model/Item.h>
#include <information_model/Path.h>

#include <optional>
#include <string>
#include <vector>

namespace kx::information_model::opc {

/// The GetProperties service: the properties of each item that exists, in the order of the request. An item
/// that does not exist is left out and named on the standard error stream.
class GetProperties : public Properties {
public:
    /// @throws Poco::SyntaxException  if "ReturnAllProperties" or "ReturnPropertyValues" is not a bool
    /// @throws InvalidPathException   if an item name is not a path
    GetProperties(std::shared_ptr<InformationModel> model, const Poco::XML::Node* request,
                  const Poco::XML::NamespaceSupport& namespaces);
    ~GetProperties() override;

protected:
    /// "GetPropertiesResponse" with a "PropertyLists" for each item and then "GetPropertiesResult". Holds the
    /// tree's shared lock over all items.
    /// @throws std::invalid_argument  "Unknown item type" if an item is neither a domain nor a variable
    /// @throws std::invalid_argument, BadValueTypeException  as `insert_properties`
    Poco::AutoPtr<Poco::XML::Element> process() override;

private:
    /// Appends the property list of one item.
    void to_xml(Poco::AutoPtr<Poco::XML::Element> parent, const Item& item) const;

    /// A "PropertyLists" without properties, not yet attached.
    Poco::AutoPtr<Poco::XML::Element> create_property_lists(const Item& item) const;

    std::optional<std::string> client_request_handle_;
    std::vector<Path> item_paths_;
};

}  // namespace kx::information_model::opc
