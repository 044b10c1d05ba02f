#pragma once

#include "client/Quality.h"
#include "client/Value.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace xmlda {

/// A code that a server gave for an item or a property, with its text from the reply's "Errors".
struct Result {
    std::string code;  ///< without prefix, for example "E_UNKNOWNITEMNAME"
    std::string text;  ///< may be empty

    /// Codes of success begin with "S_"; whatever else there is, also of vendors, says that something failed.
    bool is_error() const { return !code.starts_with("S_"); }

    /// Code and text in one line.
    std::string to_text() const { return text.empty() ? code : code + ": " + text; }

    bool operator==(const Result&) const = default;
};

/// What a reply says about one item. All of it may be missing.
struct ItemReply {
    std::optional<std::string> handle;  ///< the client item handle
    std::optional<std::string> name;
    std::optional<std::string> timestamp;
    std::optional<Value> value;
    std::optional<Quality> quality;
    std::optional<Result> result;
    std::string diagnostic;

    bool has_error() const { return result && result->is_error(); }
};

/// One property of an item.
struct Property {
    std::string name;  ///< without prefix if it is one of OPC XML-DA's, else as the server wrote it
    std::string description;
    std::optional<Value> value;
    std::optional<Result> result;
};

/// One element of a branch.
struct BrowseElement {
    std::string name;
    std::string item_name;
    std::string item_path;
    bool is_item = false;
    bool has_children = false;
    std::vector<Property> properties;
};

/// What every reply says of the server itself.
struct ReplyHeader {
    std::string server_state;  ///< "running", "failed", ...; empty if the server does not say
    std::string reply_time;    ///< the server's clock; may be empty
};

/// Whether the server serves as it should, or does not say that it does not.
inline bool is_running(const ReplyHeader& header) {
    return header.server_state.empty() || header.server_state == "running";
}

/// Of Read and Write.
struct ItemsReply {
    ReplyHeader header;
    std::vector<ItemReply> items;
};

struct BrowseReply {
    ReplyHeader header;
    std::vector<BrowseElement> elements;
    std::string continuation_point;  ///< empty if there is none
    bool has_more = false;           ///< the server has more elements than it gave
};

/// The properties of one item.
struct ItemProperties {
    std::string item_name;  ///< as the server writes it; may be empty
    std::string item_path;  ///< may be empty
    std::optional<Result> result;
    std::vector<Property> properties;

    /// The value of the first property of this name that has one, or null.
    const Value* find(std::string_view name) const;

    /// The text of that value; empty if there is none.
    std::string get_text(std::string_view name) const;
};

struct PropertiesReply {
    ReplyHeader header;
    std::vector<ItemProperties>
        items;  ///< in the server's order; servers may leave out what they do not know
};

struct StatusReply {
    ReplyHeader header;
    std::string info;  ///< the status text that a server may give
    std::string vendor;
    std::string version;
    std::string start_time;
    std::vector<std::string> locales;
    std::vector<std::string> interfaces;
};

struct SubscribeReply {
    ReplyHeader header;
    std::string handle;
    std::vector<ItemReply> items;
};

struct RefreshReply {
    ReplyHeader header;
    std::vector<ItemReply> items;
    bool is_subscription_lost = false;  ///< a handle was given back as invalid
    bool has_overflowed = false;        ///< the server could not keep all changes
};

struct CancelReply {
    ReplyHeader header;
};

/// @name Readers of replies
/// They take the bytes of a reply, as they came over HTTP, whatever its status. They take what the published
/// schema allows, in any order, and whatever of it is there: a server that leaves out the optional is read as
/// if it had written the default.
/// @throws Fault              the reply is a fault
/// @throws UnexpectedMessage  it is not XML, or not the reply to such a request
/// @{
StatusReply parse_status_reply(std::string_view bytes);
BrowseReply parse_browse_reply(std::string_view bytes);
PropertiesReply parse_properties_reply(std::string_view bytes);
ItemsReply parse_read_reply(std::string_view bytes);
ItemsReply parse_write_reply(std::string_view bytes);
SubscribeReply parse_subscribe_reply(std::string_view bytes);
RefreshReply parse_refresh_reply(std::string_view bytes);
CancelReply parse_cancel_reply(std::string_view bytes);
/// @}

/// The name of an element "Properties", as `Property::name` has it: for who reads a reply to GetProperties
/// element by element. Valid as long as the document.
std::string_view get_property_name(const XmlElement& property);

}  // namespace xmlda
