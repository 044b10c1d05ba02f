#include "gateway/http/ServerAddress.h"

#include <charconv>
#include <stdexcept>
#include <string_view>

namespace gateway {
namespace {

constexpr std::uint16_t HTTP_PORT = 80;
constexpr std::uint16_t HTTPS_PORT = 443;

[[noreturn]] void refuse(const std::string& url, const std::string& reason) {
    throw std::invalid_argument("'" + url + "' is not the URL of a server: " + reason);
}

}  // namespace

std::string ServerAddress::to_host_header() const {
    const std::string name = host.find(':') == std::string::npos ? host : "[" + host + "]";
    return port == (has_tls ? HTTPS_PORT : HTTP_PORT) ? name : name + ":" + std::to_string(port);
}

ServerAddress parse_server_url(const std::string& url) {
    std::string_view rest = url;
    ServerAddress address;
    if (const auto scheme = rest.find("://"); scheme != std::string_view::npos) {
        address.has_tls = rest.substr(0, scheme) == "https";
        if (!address.has_tls && rest.substr(0, scheme) != "http") {
            refuse(url, "it must begin with http:// or https://");
        }
        rest.remove_prefix(scheme + 3);
    }
    address.port = address.has_tls ? HTTPS_PORT : HTTP_PORT;
    const auto slash = rest.find_first_of("/?#");
    std::string_view authority = rest.substr(0, slash);
    if (slash != std::string_view::npos) {
        if (rest[slash] != '/') {
            refuse(url, "there must be a / before the query");
        }
        address.target = rest.substr(slash, rest.find('#') - slash);
    }
    for (const char character : url) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte <= ' ' || byte >= 0x7F) {
            refuse(url, "it contains a blank or another character that is not allowed");
        }
    }
    if (authority.find('@') != std::string_view::npos) {
        refuse(url, "user names are not supported");
    }
    std::string_view port;
    if (authority.starts_with('[')) {
        const auto end = authority.find(']');
        if (end == std::string_view::npos) {
            refuse(url, "the ] is missing");
        }
        address.host = authority.substr(1, end - 1);
        port = authority.substr(end + 1);
    } else {
        const auto colon = authority.find(':');
        address.host = authority.substr(0, colon);
        port = colon == std::string_view::npos ? std::string_view() : authority.substr(colon);
    }
    if (address.host.empty()) {
        refuse(url, "the host is missing");
    }
    if (!port.empty()) {
        const char* const first = port.data() + 1;
        const char* const last = port.data() + port.size();
        const auto [end, error] = std::from_chars(first, last, address.port);
        if (port.front() != ':' || error != std::errc() || end != last || address.port == 0) {
            refuse(url, "the port must be a number from 1 to 65535");
        }
    }
    return address;
}

}  // namespace gateway
