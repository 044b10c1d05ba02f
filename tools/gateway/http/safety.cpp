#include "gateway/http/safety.h"

#include <algorithm>
#include <array>
#include <cctype>

#include <arpa/inet.h>

namespace gateway {
namespace {

std::string to_lower(std::string_view text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](unsigned char byte) { return static_cast<char>(std::tolower(byte)); });
    return lower;
}

/// The media type without parameters, in lower case.
std::string get_media_type(std::string_view content_type) {
    std::string type = to_lower(content_type.substr(0, content_type.find(';')));
    type.erase(type.find_last_not_of(" \t") + 1);
    type.erase(0, type.find_first_not_of(" \t"));
    return type;
}

bool is_ip_address(const std::string& text) {
    std::array<unsigned char, 16> address{};
    return ::inet_pton(AF_INET, text.c_str(), address.data()) == 1 ||
           ::inet_pton(AF_INET6, text.c_str(), address.data()) == 1;
}

/// The host without port and brackets.
std::string get_name(std::string_view host) {
    if (host.starts_with('[')) {
        const auto end = host.find(']');
        return end == std::string_view::npos ? "" : std::string(host.substr(1, end - 1));
    }
    return to_lower(host.substr(0, host.find(':')));
}

}  // namespace

bool is_known_host(std::string_view host, const std::vector<std::string>& names) {
    if (host.empty()) {
        return true;  // no browser
    }
    const std::string name = get_name(host);
    return name == "localhost" || is_ip_address(name) ||
           std::any_of(names.begin(), names.end(),
                       [&name](const std::string& own) { return to_lower(own) == name; });
}

bool is_own_origin(std::string_view origin, std::string_view host) {
    if (origin.empty()) {
        return true;
    }
    const auto scheme = origin.find("://");
    return scheme != std::string_view::npos && to_lower(origin.substr(scheme + 3)) == to_lower(host);
}

bool is_form_type(std::string_view content_type) {
    const std::string type = get_media_type(content_type);
    return type == "application/x-www-form-urlencoded" || type == "multipart/form-data" ||
           type == "text/plain";
}

bool is_json_type(std::string_view content_type) {
    return get_media_type(content_type) == "application/json";
}

}  // namespace gateway
