#pragma once

#include "server/message/AMessage.h"

#include <optional>
#include <string>

namespace kx::information_model::opc {

/// The GetStatus service: a fixed description of the server. Takes no lock.
class GetStatus : public AMessage {
public:
    GetStatus(std::shared_ptr<InformationModel> model, const Poco::XML::Node* request,
              const Poco::XML::NamespaceSupport& namespaces);
    ~GetStatus() override;

protected:
    /// "GetStatusResponse" with "Status" and then "GetStatusResult".
    Poco::AutoPtr<Poco::XML::Element> process() override;

private:
    std::optional<std::string> locale_id_;  // has no effect: "en-US" is the only locale
    std::optional<std::string> client_request_handle_;
};

}  // namespace kx::information_model::opc
