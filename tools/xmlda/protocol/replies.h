#pragma once

#include "xmlda/protocol/Value.h"
#include "xmlda/soap/XmlElement.h"

#include <optional>
#include <string>
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

/// The quality of a value.
struct Quality {
    std::string field = "good";
    std::string limit = "none";
    std::string vendor = "0";

    /// The field alone, or with what is not ordinary behind it: "good, limit high, vendor 4".
    std::string to_text() const;

    bool operator==(const Quality&) const = default;
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

struct BrowseReply {
    std::vector<BrowseElement> elements;
    std::string continuation_point;  ///< empty if there is none
    bool has_more = false;           ///< the server has more elements than it gave
};

struct PropertiesReply {
    std::optional<Result> result;
    std::vector<Property> properties;
};

struct StatusReply {
    std::string state;
    std::string info;  ///< the status text that a server may give
    std::string vendor;
    std::string version;
    std::string start_time;
    std::string reply_time;
    std::vector<std::string> locales;
    std::vector<std::string> interfaces;
};

struct SubscribeReply {
    std::string handle;
    std::vector<ItemReply> items;
};

struct RefreshReply {
    std::vector<ItemReply> items;
    bool is_subscription_lost = false;  ///< a handle was given back as invalid
    bool has_overflowed = false;        ///< the server could not keep all changes
};

/// @name Readers of responses
/// They take what the published schema allows, in any order, and whatever of it is there: a server that
/// leaves out the optional is read as if it had written the default.
/// @{
StatusReply parse_status_reply(const XmlElement& response);
BrowseReply parse_browse_reply(const XmlElement& response);
/// Of one item: a response to a request for several is read as if it were for the first.
PropertiesReply parse_properties_reply(const XmlElement& response);
/// For Read and Write.
std::vector<ItemReply> parse_items_reply(const XmlElement& response);
SubscribeReply parse_subscribe_reply(const XmlElement& response);
RefreshReply parse_refresh_reply(const XmlElement& response);
/// @}

}  // namespace xmlda
