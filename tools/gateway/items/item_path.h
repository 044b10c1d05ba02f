#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace gateway {

/// The name under which the server and the gateway know an item: "/boiler/temperature", "/" for the root.
/// Clients may leave out the first "/", and may give the front part as `ItemPath`.
/// @return nothing if this cannot be the name of an item: the server would refuse the whole request for it
std::optional<std::string> to_item_path(std::string_view path, std::string_view name);

/// "temperature" of "/boiler/temperature"; empty for the root.
std::string_view get_last_segment(std::string_view item);

}  // namespace gateway
