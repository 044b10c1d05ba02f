#include "xmlda/http/Endpoint.h"

#include "xmlda/Failure.h"

#include <curl/curl.h>

#include <charconv>
#include <memory>

namespace xmlda {
namespace {

constexpr char NO_SERVER[] = "is not the URL of a server: host or port is missing";

Failure create_failure(const std::string& url, const std::string& reason) {
    return {ExitStatus::USAGE, "'" + url + "' " + reason};
}

/// A URL taken apart.
class Url {
public:
    explicit Url(const std::string& text) : handle_(curl_url()) {
        const std::string whole = text.find("://") == std::string::npos ? "http://" + text : text;
        const CURLUcode code = curl_url_set(handle_.get(), CURLUPART_URL, whole.c_str(),
                                            CURLU_NON_SUPPORT_SCHEME | CURLU_URLENCODE);
        if (code != CURLUE_OK) {
            throw create_failure(text, code == CURLUE_NO_HOST ? NO_SERVER : "is not a URL");
        }
    }

    /// Empty if there is none.
    std::string get(CURLUPart part, unsigned int flags = 0) const {
        char* text = nullptr;
        if (curl_url_get(handle_.get(), part, &text, flags) != CURLUE_OK) {
            return "";
        }
        const std::unique_ptr<char, decltype(&curl_free)> owner(text, curl_free);
        return text;
    }

private:
    struct Free {
        void operator()(CURLU* handle) const { curl_url_cleanup(handle); }
    };

    std::unique_ptr<CURLU, Free> handle_;
};

std::string without_brackets(const std::string& host) {
    return host.starts_with('[') ? host.substr(1, host.size() - 2) : host;
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
    if (url.empty()) {
        throw Failure(ExitStatus::USAGE, "the URL is empty");
    }
    const Url parts(url);
    const std::string scheme = parts.get(CURLUPART_SCHEME);
    if (scheme != "http" && scheme != "https") {
        throw create_failure(url, "begins with neither http:// nor https://");
    }
    const std::string host = parts.get(CURLUPART_HOST);
    const std::string port = parts.get(CURLUPART_PORT, CURLU_DEFAULT_PORT);
    const std::string query = parts.get(CURLUPART_QUERY);
    Endpoint endpoint{.is_secure = scheme == "https",
                      .host = without_brackets(host),
                      .port = 0,
                      .path = parts.get(CURLUPART_PATH) + (query.empty() ? "" : '?' + query)};
    std::from_chars(port.data(), port.data() + port.size(), endpoint.port);
    if (endpoint.host.empty() || endpoint.port == 0) {
        throw create_failure(url, NO_SERVER);
    }
    if (!parts.get(CURLUPART_USER).empty() || !parts.get(CURLUPART_PASSWORD).empty()) {
        throw create_failure(url, "contains a user name: use --user");
    }
    return endpoint;
}

}  // namespace xmlda
