#pragma once

#include "server/message/AMessage.h"
#include "server/message/RequestOptions.h"
#include "services/item_value.h"

#include <information_model/Domain.h>
#include <information_model/Path.h>
#include <information_model/Variable.h>

#include <deque>
#include <string>
#include <tuple>

namespace kx::information_model::opc {

/// The Read service: the current value of each item that exists, in the order of the request. An item that
/// does not exist is left out and named on the standard error stream.
class Read : public AMessage {
public:
    /// @throws InvalidPathException   if an item name is not a path
    /// @throws Poco::SyntaxException  if an option is not a bool
    Read(std::shared_ptr<InformationModel> model, const Poco::XML::Node* request,
         const Poco::XML::NamespaceSupport& namespaces);
    ~Read() override;

protected:
    /// "ReadResponse" with "RItemList" and then "ReadResult". Holds the tree's shared lock over all items.
    Poco::AutoPtr<Poco::XML::Element> process() override;

private:
    using RequestItem = std::tuple<Path, std::string>;  // item path, client item handle

    void to_xml(Poco::AutoPtr<Poco::XML::Element> parent, const Domain& item,
                const RequestItem& request_item) const;
    void to_xml(Poco::AutoPtr<Poco::XML::Element> parent, const Variable& item,
                const RequestItem& request_item) const;
    ItemValueForm get_form(const RequestItem& request_item) const;

    RequestOptions options_;
    std::deque<RequestItem> items_;  // not a vector: to grow it would take up to three times its memory
};

}  // namespace kx::information_model::opc
