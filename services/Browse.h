#pragma once

#include "services/BrowseFilter.h"
#include "services/Properties.h"

#include <information_model/Item.h>
#include <information_model/Path.h>

#include <optional>
#include <string>

namespace kx::information_model::opc {

/// The Browse service: the children of a domain, or the variable that was named, each with the properties
/// that the client asks for. The listing is always complete: there are no continuation points.
class Browse : public Properties {
public:
    /// Of several faults in one request, the first in this order is answered.
    /// @throws Poco::SyntaxException  if "ReturnAllProperties", "ReturnPropertyValues" or "ReturnErrorText"
    ///                                is not a bool
    /// @throws Error  E_INVALIDITEMNAME if "ItemName" is not a path, E_INVALIDFILTER if "BrowseFilter" is
    ///                not "all", "branch" or "item", E_UNKNOWNITEMPATH if "ItemPath" is not empty: there is
    ///                only one address space
    Browse(std::shared_ptr<InformationModel> model, const Poco::XML::Node* request,
           const Poco::XML::NamespaceSupport& namespaces);
    ~Browse() override;

protected:
    /// "BrowseResponse" with an "Elements" for each item and then "BrowseResult". Holds the tree's shared
    /// lock over the whole listing.
    /// @throws Error  E_UNKNOWNITEMNAME if there is no such item, E_FAIL if one is neither a domain nor a
    ///                variable
    /// @throws std::bad_cast  if a child is not an item
    /// @throws std::invalid_argument, BadValueTypeException  as `insert_properties`
    Poco::AutoPtr<Poco::XML::Element> process() override;

private:
    Path read_path() const;
    symbol_list::BROWSE_FILTER read_filter() const;

    /// Appends the element for one item, unless the filter leaves it out.
    void to_xml(Poco::AutoPtr<Poco::XML::Element> parent, const Item& item) const;

    /// An "Elements" without properties, not yet attached.
    Poco::AutoPtr<Poco::XML::Element> create_browse_element(const Item& item, bool is_item,
                                                            bool has_children) const;

    symbol_list::BROWSE_FILTER browse_filter_ = symbol_list::BROWSE_FILTER::ALL;
    bool return_error_text_;  // has no effect
    Path path_;
    std::optional<std::string> client_request_handle_;
};

}  // namespace kx::information_model::opc
