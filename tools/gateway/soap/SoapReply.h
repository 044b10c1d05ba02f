#pragma once

#include "gateway/items/Item.h"
#include "gateway/soap/requests.h"

#include "client/xml/XmlWriter.h"

#include <chrono>
#include <optional>
#include <set>
#include <string>

namespace gateway {

/// What is said of one item in a reply.
struct ItemResult {
    std::string code;                   ///< empty, or why it failed: "E_UNKNOWNITEMNAME"; "S_CLAMP"
    std::optional<xmlda::Value> value;  ///< published
    std::string quality;                ///< empty if nothing is to be said of it
    std::string timestamp;              ///< may be empty

    bool is_error() const { return code.starts_with("E_"); }
};

/// Writes one reply of the published schema: the envelope, the result element first, the texts of the codes
/// that were used last.
class SoapReply {
public:
    /// @param service  for example "Read"
    SoapReply(const std::string& service, const RequestOptions& options,
              std::chrono::system_clock::time_point received);

    /// For attributes of the response element. Only before the result.
    xmlda::XmlWriter& get_writer() { return writer_; }

    /// Writes the result element.
    /// @param is_running  whether the server behind the gateway answers
    void write_result(bool is_running);

    /// Writes an item under the given element name, "Items" or "ItemValue".
    /// @throws SoapFault  if the reply is too large already
    void write_item(const std::string& element, const RequestedItem& item, const ItemResult& result);

    /// @throws SoapFault  if the reply is too large already
    void check_size() const;

    /// Notes that a code was used, and gives it as it is written: "da:E_FAIL".
    std::string use_code(const std::string& code);

    /// Ends the response.
    /// @return the document
    std::string finish();

private:
    const std::string service_;
    const RequestOptions& options_;
    const std::chrono::system_clock::time_point received_;
    xmlda::XmlWriter writer_;
    std::set<std::string> codes_;
};

/// The document that refuses a request.
/// @param code  as `SoapFault` has it
std::string create_fault_document(const std::string& code, const std::string& text);

}  // namespace gateway
