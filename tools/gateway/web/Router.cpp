#include "gateway/web/Router.h"

#include "gateway/http/safety.h"
#include "gateway/web/embedded_files.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstddef>
#include <optional>
#include <string_view>
#include <utility>

namespace gateway {
namespace {

struct StaticFile {
    std::string_view path;
    std::string_view file;
    std::string_view type;
};

constexpr std::array STATIC_FILES = {
    StaticFile{"/", "page.html", "text/html; charset=utf-8"},
    StaticFile{"/page.css", "page.css", "text/css; charset=utf-8"},
    StaticFile{"/page.js", "page.js", "text/javascript; charset=utf-8"},
    StaticFile{"/icon.svg", "icon.svg", "image/svg+xml"},
    StaticFile{"/dygraph.js", "dygraph.min.js", "text/javascript; charset=utf-8"},
    StaticFile{"/dygraph.css", "dygraph.min.css", "text/css; charset=utf-8"},
    StaticFile{"/xmlda.xsd", "xmlda.xsd", "text/xml; charset=utf-8"},
};

// One byte may be an array in an array, which takes some eighty in memory.
constexpr std::size_t LARGEST_JSON = 1U << 20U;

HttpReply create_text_reply(unsigned status, const std::string& text) {
    HttpReply reply;
    reply.status = status;
    reply.content_type = "text/plain; charset=utf-8";
    reply.body = text + "\n";
    return reply;
}

/// An absolute target, as for a proxy, becomes a path; the host in it counts, and not the header.
void make_relative(HttpRequest& request) {
    const auto scheme = request.target.find("://");
    if (request.target.starts_with('/') || scheme == std::string::npos) {
        return;
    }
    const auto host = scheme + 3;
    const auto end = std::min(request.target.find_first_of("/?", host), request.target.size());
    request.host = request.target.substr(host, end - host);
    request.target.erase(0, end);
    if (!request.target.starts_with('/')) {
        request.target.insert(0, "/");
    }
}

/// Path and query of a target.
std::pair<std::string, std::string> split_target(std::string_view target) {
    const auto mark = target.find('?');
    return {std::string(target.substr(0, mark)),
            mark == std::string_view::npos ? "" : std::string(target.substr(mark + 1))};
}

int get_hex_digit(char character) {
    if (character >= '0' && character <= '9') {
        return character - '0';
    }
    const int letter = std::tolower(static_cast<unsigned char>(character));
    return letter >= 'a' && letter <= 'f' ? letter - 'a' + 10 : -1;
}

std::string decode_percents(std::string_view text) {
    std::string decoded;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const int high = text[i] == '%' && i + 2 < text.size() ? get_hex_digit(text[i + 1]) : -1;
        const int low = high >= 0 ? get_hex_digit(text[i + 2]) : -1;
        if (low >= 0) {
            decoded += static_cast<char>(high * 16 + low);
            i += 2;
        } else {
            decoded += text[i] == '+' ? ' ' : text[i];
        }
    }
    return decoded;
}

/// The value of a parameter of a query; empty if there is none.
std::string get_parameter(std::string_view query, std::string_view name) {
    while (!query.empty()) {
        const auto end = query.find('&');
        const std::string_view part = query.substr(0, end);
        const auto equals = part.find('=');
        if (part.substr(0, equals) == name && equals != std::string_view::npos) {
            return decode_percents(part.substr(equals + 1));
        }
        query.remove_prefix(end == std::string_view::npos ? query.size() : end + 1);
    }
    return "";
}

bool asks_for_description(std::string_view query) {
    return query.size() == 4 && std::tolower(static_cast<unsigned char>(query[0])) == 'w' &&
           std::tolower(static_cast<unsigned char>(query[1])) == 's' &&
           std::tolower(static_cast<unsigned char>(query[2])) == 'd' &&
           std::tolower(static_cast<unsigned char>(query[3])) == 'l';
}

void replace(std::string& text, std::string_view placeholder, std::string_view content) {
    if (const auto place = text.find(placeholder); place != std::string::npos) {
        text.replace(place, placeholder.size(), content);
    }
}

std::string escape_attribute(std::string_view text) {
    std::string escaped;
    for (const char character : text) {
        switch (character) {
            case '&':
                escaped += "&amp;";
                break;
            case '<':
                escaped += "&lt;";
                break;
            case '"':
                escaped += "&quot;";
                break;
            default:
                escaped += character;
        }
    }
    return escaped;
}

/// The description of the service with the schema in it and the address that the client used.
HttpReply describe_service(const HttpRequest& request, const std::string& path) {
    std::string_view schema = get_embedded_file("xmlda.xsd");
    schema.remove_prefix(schema.find("<xs:schema"));
    const std::string scheme = request.has_tls ? "https://" : "http://";
    std::string text(get_embedded_file("xmlda.wsdl"));
    replace(text, "@SCHEMA@", schema);
    replace(text, "@ADDRESS@", escape_attribute(scheme + request.host + request.forwarded_prefix + path));
    HttpReply reply;
    reply.content_type = "text/xml; charset=utf-8";
    reply.body = std::move(text);
    return reply;
}

HttpReply create_file_reply(const StaticFile& file) {
    HttpReply reply;
    reply.content_type = file.type;
    reply.body = get_embedded_file(file.file);
    reply.headers = {{"Cache-Control", "no-cache"},
                     {"Content-Security-Policy",
                      "default-src 'self'; img-src 'self' data:; style-src 'self' 'unsafe-inline'; "
                      "frame-ancestors 'self'; base-uri 'none'; form-action 'none'"},
                     {"Referrer-Policy", "no-referrer"}};
    return reply;
}

/// Why a request is refused, or nothing.
std::optional<HttpReply> find_refusal(const HttpRequest& request, const std::vector<std::string>& names) {
    if (!is_known_host(request.host, names)) {
        return create_text_reply(
            421, "'" + request.host + "' is not a name of this gateway: add it with the option --name");
    }
    if (request.method == "GET" || request.method == "HEAD") {
        return std::nullopt;
    }
    if (!is_own_origin(request.origin, request.host)) {
        return create_text_reply(403, "pages of '" + request.origin + "' may not change anything here");
    }
    if (is_form_type(request.content_type)) {
        return create_text_reply(415, "the content type must be an XML type, for example text/xml");
    }
    return std::nullopt;
}

}  // namespace

Router::Router(SoapServices& services, PageApi& page, Metrics& metrics, std::vector<std::string> names)
    : services_(services), page_(page), metrics_(metrics), names_(std::move(names)) {}

Task<HttpReply> Router::serve(HttpRequest request, std::shared_ptr<Presence> presence) {
    make_relative(request);
    if (auto refusal = find_refusal(request, names_)) {
        co_return std::move(*refusal);
    }
    if (request.method == "GET" || request.method == "HEAD") {  // whose body is not sent
        co_return co_await get(request);
    }
    if (request.method == "POST") {
        co_return co_await post(std::move(request), std::move(presence));
    }
    HttpReply reply = create_text_reply(405, "only GET, HEAD and POST are supported");
    reply.headers.emplace_back("Allow", "GET, HEAD, POST");
    co_return reply;
}

Task<HttpReply> Router::get(const HttpRequest& request) {
    const auto [path, query] = split_target(request.target);
    if (asks_for_description(query)) {
        co_return describe_service(request, path);
    }
    if (path == "/metrics") {
        HttpReply reply;
        reply.content_type = "text/plain; version=0.0.4; charset=utf-8";
        reply.body = co_await metrics_.collect();
        co_return reply;
    }
    if (path == "/api/status") {
        co_return page_.get_status();
    }
    if (path == "/api/events") {
        co_return page_.open_events();
    }
    if (path == "/api/browse") {
        const std::string item = get_parameter(query, "item");
        co_return co_await page_.browse(item);
    }
    for (const StaticFile& file : STATIC_FILES) {
        if (file.path == path && !get_embedded_file(file.file).empty()) {
            co_return create_file_reply(file);
        }
    }
    co_return create_text_reply(404, "there is nothing at '" + path + "'; the page is at /");
}

Task<HttpReply> Router::post(HttpRequest request, std::shared_ptr<Presence> presence) {
    const std::string path = split_target(request.target).first;
    if (!path.starts_with("/api/")) {
        co_return co_await services_.serve(std::move(request), std::move(presence));
    }
    if (!is_json_type(request.content_type)) {
        co_return create_text_reply(415, "the content type must be application/json");
    }
    if (request.body.size() > LARGEST_JSON) {
        co_return create_text_reply(413, "the request is larger than 1 MiB");
    }
    if (path == "/api/watch") {
        co_return page_.watch(request.body);
    }
    if (path == "/api/write") {
        co_return co_await page_.write(std::move(request.body));
    }
    co_return create_text_reply(404, "there is nothing at '" + path + "'");
}

}  // namespace gateway
