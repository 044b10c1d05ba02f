#pragma once

#include "server/message/AMessage.h"
#include "server/message/RequestOptions.h"

#include <information_model/Item.h>
#include <information_model/Path.h>
#include <information_model/Value.h>
#include <information_model/Variable.h>

#include <optional>
#include <string>
#include <tuple>
#include <vector>

namespace kx::information_model::opc {

class Diagnostics;

/// The Write service: stores a value in each variable that exists and may be written, in the order of the
/// request, and reports those that it wrote.
///
/// An item that does not exist or is not a variable is left out and named on the standard error stream. A
/// variable that clients may not write, or whose guard refuses the value, is left out silently. A value of
/// the wrong type for its variable fails the request as a whole, but what was written before it stays
/// written.
class Write : public AMessage {
public:
    /// @throws std::logic_error       if the attribute "ReturnValuesOnReply" is missing
    /// @throws Poco::SyntaxException  if it or an option is not a bool
    /// @throws InvalidPathException   if an item name is not a path; an absent name is an empty text,
    ///                                which is not one
    /// @throws std::invalid_argument  "Unsupported type." if a value's type is not accepted, or if
    ///                                the text of a time or duration is malformed
    Write(std::shared_ptr<InformationModel> model, const Poco::XML::Node* request,
          const Poco::XML::NamespaceSupport& namespaces);
    ~Write() override;

protected:
    /// "WriteResponse" with "RItemList" and then "WriteResult". Holds the tree's exclusive lock over all
    /// items; observers of what was written run right after its release, also when the request fails.
    /// @throws BadValueTypeException  if a value's type is not the one that the variable takes
    /// @throws std::invalid_argument  if a symbol's list has no such position
    /// @throws InvalidPathException   if the text for a variable that holds paths is not one
    Poco::AutoPtr<Poco::XML::Element> process() override;

private:
    // Item path, client item handle, value. No value means that the variable is to be reset.
    using RequestItem = std::tuple<Path, std::string, std::optional<Value>>;

    Value get_value(const Poco::XML::Node* node) const;
    void to_xml(Poco::AutoPtr<Poco::XML::Element> list, const Variable& variable,
                const RequestItem& item) const;

    RequestOptions options_;
    bool return_values_on_reply_ = false;
    std::vector<RequestItem> items_;
};

}  // namespace kx::information_model::opc
