#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace xmlda {

/// An item by its name, and its path where a server has several address spaces.
struct ItemAddress {
    std::string name;
    std::string path;  ///< empty if there is none

    bool operator==(const ItemAddress&) const = default;
};

/// A value on its way to a server: its type and the texts that the type prescribes.
struct OutgoingValue {
    std::string type;                ///< "double", "ArrayOfDouble"
    std::vector<std::string> texts;  ///< of the members; exactly one for a scalar
};

struct WriteItem {
    ItemAddress address;
    OutgoingValue value;
};

/// What is posted to a server, with the content type "text/xml; charset=utf-8".
struct Request {
    std::string service;  ///< for example "Read"
    std::string body;     ///< the whole document: an envelope in UTF-8

    /// The value of the header SOAPAction, without the quotes around it.
    std::string get_action() const;
};

/// The handle that a request gives to its item number `index`, counted from 0. A reply gives it back.
std::string to_item_handle(std::size_t index);

/// @name Requests
/// Written so that any server understands them: optional parts that some servers insist on are there, and
/// the default namespace is that of OPC XML-DA. Texts may be any UTF-8 that XML can carry, see `is_xml_text`.
/// The reply to each is read by the function of the same name in replies.h.
/// @{
Request create_status_request();
/// @param address             of a branch; an empty name is the root
/// @param continuation_point  what the reply before said, empty for the first
Request create_browse_request(const ItemAddress& address, bool with_properties,
                              const std::string& continuation_point);
/// The same with some properties, which `names` has, of each element.
Request create_browse_request(const ItemAddress& address, const std::vector<std::string>& names,
                              const std::string& continuation_point);
/// @param names  of the properties, with their values; see `property_names`
Request create_properties_request(const std::vector<ItemAddress>& addresses,
                                  const std::vector<std::string>& names);
/// All properties of the items, with their values.
Request create_properties_request(const std::vector<ItemAddress>& addresses);
Request create_read_request(const std::vector<ItemAddress>& addresses);
/// @param with_values  ask for what the items hold after the write
Request create_write_request(const std::vector<WriteItem>& items, bool with_values);
/// @param ping_rate  how long the subscription lives without a poll
Request create_subscribe_request(const std::vector<ItemAddress>& addresses,
                                 std::chrono::milliseconds sampling_rate,
                                 std::chrono::milliseconds ping_rate);
Request create_refresh_request(const std::string& subscription_handle);
Request create_cancel_request(const std::string& subscription_handle);
/// @}

}  // namespace xmlda
