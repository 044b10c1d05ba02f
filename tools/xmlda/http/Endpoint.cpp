#include "xmlda/http/Endpoint.h"

#include "xmlda/Failure.h"

#include <Poco/Exception.h>
#include <Poco/URI.h>

namespace xmlda {
namespace {

Failure create_failure(const std::string& url, const std::string& reason) {
    return {ExitStatus::USAGE, "'" + url + "' " + reason};
}

Poco::URI parse_uri(const std::string& url) {
    try {
        return Poco::URI(url.find("://") == std::string::npos ? "http://" + url : url);
    } catch (const Poco::Exception&) {
        throw create_failure(url, "is no URL");
    }
}

}  // namespace

std::string Endpoint::get_authority() const {
    const bool is_ipv6 = host.find(':') != std::string::npos;
    return (is_ipv6 ? '[' + host + ']' : host) + ':' + std::to_string(port);
}

std::string Endpoint::get_url() const {
    return (is_secure ? "https://" : "http://") + get_authority() + path;
}

Endpoint parse_endpoint(const std::string& url) {
    const Poco::URI uri = parse_uri(url);
    if (uri.getScheme() != "http" && uri.getScheme() != "https") {
        throw create_failure(url, "begins with neither http:// nor https://");
    }
    if (uri.getHost().empty() || uri.getPort() == 0) {
        throw create_failure(url, "is no URL of a server: host or port is missing");
    }
    if (!uri.getUserInfo().empty()) {
        throw create_failure(url, "holds a user: name that one with --user");
    }
    const std::string path = uri.getPathAndQuery();
    return {.is_secure = uri.getScheme() == "https",
            .host = uri.getHost(),
            .port = uri.getPort(),
            .path = path.starts_with('/') ? path : '/' + path};
}

}  // namespace xmlda
