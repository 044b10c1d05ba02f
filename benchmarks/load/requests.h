#pragma once

#include <cstddef>
#include <string>

namespace kx::benchmarks {

/// Path of the `index`-th variable of the tree that `build_tree` makes: "/bulk/<index / 1000>/v<index>".
std::string create_item_name(std::size_t index);

/// @name Requests, in their SOAP envelope, for items spread evenly over a tree of `tree_size` variables
/// @{
std::string create_status_request();
std::string create_read_request(std::size_t items, std::size_t tree_size);  ///< with handles and timestamps
std::string create_write_request(std::size_t items, std::size_t tree_size);  ///< of doubles, without values on reply
std::string create_subscribe_request(std::size_t items, std::size_t tree_size);
std::string create_poll_request(const std::string& handle);
std::string create_browse_request(const std::string& path);  ///< all properties with their values
/// @}

}  // namespace kx::benchmarks
