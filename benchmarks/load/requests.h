#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

namespace kx::benchmarks {

/// @name Requests, in their SOAP envelope
///
/// Those for `items` items take them evenly spread over the doubles of a tree that `build_tree` made with
/// `variables` variables, in the tree's order; when there are fewer variables than items, from the start
/// again. Each item has a client handle of its own.
/// @{
std::string create_status_request();
std::string create_read_request(std::size_t items, std::size_t variables);   ///< with timestamps
std::string create_type_read_request(const std::string& type_name);          ///< all variables of a type
std::string create_write_request(std::size_t items, std::size_t variables);  ///< without values on reply
std::string create_subscribe_request(std::size_t items, std::size_t variables,
                                     std::chrono::milliseconds ping_rate = std::chrono::hours(1));
std::string create_poll_request(const std::string& server_handle);
std::string create_browse_request(const std::string& path);  ///< all properties with their values
/// @}

/// The server handle in the reply to a Subscribe request.
/// @throws std::runtime_error  if there is none
std::string get_server_handle(const std::string& reply);

}  // namespace kx::benchmarks
