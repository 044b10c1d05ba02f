#pragma once

#include "client/Value.h"
#include "client/xml/XmlDocument.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace gateway {

/// What clients of the published schema send. Read generously: attributes in any order, empty ones as absent,
/// elements whatever their namespace.

struct RequestOptions {
    bool error_text = true;
    bool item_time = false;
    bool item_path = false;
    bool item_name = false;
    std::optional<std::string> request_handle;
    std::string locale;
};

/// An item as the client names it.
struct RequestedItem {
    std::optional<std::string> path;  ///< own, or that of the list
    std::string name;
    std::optional<std::string> handle;
    std::string type;         ///< without prefix; empty if the item's own is wanted
    xmlda::Value value;       ///< for Write; NIL if there is none
    bool has_extras = false;  ///< for Write: a quality or a timestamp is to be written
    float deadband = 0;       ///< for Subscribe, in per cent of the range
};

struct GetStatusRequest {
    RequestOptions options;
};

struct ReadRequest {
    RequestOptions options;
    std::vector<RequestedItem> items;
};

struct WriteRequest {
    RequestOptions options;
    bool return_values = false;
    std::vector<RequestedItem> items;
};

struct SubscribeRequest {
    RequestOptions options;
    bool return_values = false;
    std::chrono::milliseconds ping_rate{0};  ///< 0 if the client leaves it to us
    std::vector<RequestedItem> items;
};

struct RefreshRequest {
    RequestOptions options;
    std::vector<std::string> handles;
    std::optional<std::chrono::system_clock::time_point> hold_until;
    std::chrono::milliseconds wait{0};
    bool return_all = false;
};

struct CancelRequest {
    std::string handle;
    std::optional<std::string> request_handle;
};

struct PropertyRequest {
    bool all = false;
    bool values = false;
    std::vector<std::string> names;  ///< "value", or "telvix:delta" for those of the server's own
};

struct BrowseRequest {
    RequestOptions options;
    RequestedItem item;
    std::string continuation_point;
    std::size_t most_elements = 0;  ///< 0 for no limit
    std::string filter = "all";
    std::string name_filter;
    PropertyRequest properties;
};

struct GetPropertiesRequest {
    RequestOptions options;
    std::vector<RequestedItem> items;
    PropertyRequest properties;
};

/// How many elements a document has at most, without parsing it.
std::size_t count_elements(const std::string& document);

/// A body that was posted.
class SoapRequest {
public:
    /// @throws SoapFault  if this is no SOAP 1.1 envelope with a body that holds an element
    explicit SoapRequest(const std::string& document);

    /// The name of the request, for example "Read".
    std::string get_service() const;

    /// @name Readers
    /// Requires: the request is one of that service.
    /// @throws SoapFault  if something cannot be understood; the text quotes it
    /// @{
    GetStatusRequest read_get_status() const;
    ReadRequest read_read() const;
    WriteRequest read_write() const;
    SubscribeRequest read_subscribe() const;
    RefreshRequest read_refresh() const;
    CancelRequest read_cancel() const;
    BrowseRequest read_browse() const;
    GetPropertiesRequest read_get_properties() const;
    /// @}

private:
    xmlda::XmlDocument document_;
    xmlda::XmlElement request_;
};

}  // namespace gateway
