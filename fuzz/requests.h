#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

/// Inputs that are several requests.
namespace kx::fuzz {

constexpr std::size_t MAXIMUM_REQUESTS = 8;

/// The parts of an input between lines of "%%"; what comes behind the eighth does not count.
inline std::vector<std::string_view> split_requests(std::string_view input) {
    constexpr std::string_view SEPARATOR = "\n%%\n";
    std::vector<std::string_view> requests;
    while (requests.size() < MAXIMUM_REQUESTS) {
        const std::size_t end = input.find(SEPARATOR);
        requests.push_back(input.substr(0, end));
        if (end == std::string_view::npos) {
            break;
        }
        input.remove_prefix(end + SEPARATOR.size());
    }
    return requests;
}

/// Puts the content of a body into an envelope.
inline std::string create_envelope(std::string_view content) {
    std::string envelope = R"(<s:Envelope xmlns:s="http://schemas.xmlsoap.org/soap/envelope/")"
                           R"( xmlns:xsd="http://www.w3.org/2001/XMLSchema")"
                           R"( xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance")"
                           R"( xmlns="http://opcfoundation.org/webservices/XMLDA/1.0/"><s:Body>)";
    return envelope.append(content).append("</s:Body></s:Envelope>");
}

}  // namespace kx::fuzz
