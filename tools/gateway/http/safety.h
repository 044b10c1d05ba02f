#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace gateway {

/// Whether the header Host names this gateway: an IP address, "localhost", or one of the names that it was
/// given. A page of another site that has its name resolve to our address is refused by this.
bool is_known_host(std::string_view host, const std::vector<std::string>& names);

/// Whether the header Origin is absent, or names the host that was asked: a page of another site is refused.
bool is_own_origin(std::string_view origin, std::string_view host);

/// Whether a page of another site could send this without being asked for permission: what forms send.
bool is_form_type(std::string_view content_type);

/// Whether this is JSON.
bool is_json_type(std::string_view content_type);

}  // namespace gateway
