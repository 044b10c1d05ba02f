#pragma once

#include "support/HttpClient.h"

#include <string>

/// Requests and the texts of replies. Replies are compared as texts, byte for byte: attributes stand in
/// the order of their names.
namespace kx::information_model::opc::testing {

/// The SOAP envelope around `request`, whose default namespace is that of OPC XML-DA; the prefix "xsd"
/// stands for XML Schema and "xsi" for its instance namespace.
std::string create_request(const std::string& request);

/// The whole text of a reply: declaration and envelope around `response`.
std::string create_reply(const std::string& response);

/// The whole text of a fault.
std::string create_fault(const std::string& code, const std::string& text);

/// The attributes of a result element with their times masked, as `mask_times` leaves them; a handle is put
/// in front if it is not null.
std::string create_result(const std::string& name, const char* client_request_handle = nullptr);

/// Replaces the values of "RcvTime" and "ReplyTime" by "*", after checking that each is an ISO 8601 UTC text.
std::string mask_times(const std::string& reply);

/// As `mask_times`, and each "Timestamp" as well: for domains, which carry the current time.
std::string mask_all_times(const std::string& reply);

/// Expects status 200, the headers of a success and, with its times masked, exactly this response inside the
/// envelope.
void expect_success(const Reply& reply, const std::string& response);

/// Expects status 400, the headers of a fault and exactly this fault.
void expect_fault(const Reply& reply, const std::string& code, const std::string& text);

/// Expects status 400, the text "Bad request" and no content type.
void expect_bad_request(const Reply& reply);

}  // namespace kx::information_model::opc::testing
