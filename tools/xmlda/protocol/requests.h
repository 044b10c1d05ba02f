#pragma once

#include <chrono>
#include <optional>
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

/// The handle that a request gives to its item number `index`, counted from 0.
std::string to_item_handle(std::size_t index);

/// @name Request elements
/// Written so that any server understands them: optional parts that some servers insist on are there, and
/// prefixes of values are those that `wrap` declares.
/// @{
std::string create_status_request();
/// @param continuation_point  what the reply before said, empty for the first
std::string create_browse_request(const ItemAddress& address, bool with_properties,
                                  const std::string& continuation_point);
std::string create_properties_request(const ItemAddress& address, const std::vector<std::string>& names);
std::string create_read_request(const std::vector<ItemAddress>& addresses);
std::string create_write_request(const std::vector<WriteItem>& items, bool with_values);
std::string create_subscribe_request(const std::vector<ItemAddress>& addresses,
                                     std::chrono::milliseconds sampling_rate,
                                     std::chrono::milliseconds ping_rate);
std::string create_refresh_request(const std::string& subscription_handle);
std::string create_cancel_request(const std::string& subscription_handle);
/// @}

}  // namespace xmlda
