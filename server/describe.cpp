#include "opc/Server.h"

#include <Poco/Exception.h>
#include <Poco/Net/NetException.h>
#include <Poco/Net/SSLException.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <string_view>

namespace kx::information_model::opc {

namespace {

/// What stands behind `start`, up to the next ": " unless all of it is wanted. Nothing if the text does not
/// start so.
std::optional<std::string> get_rest(std::string_view text, std::string_view start, bool all = true) {
    if (!text.starts_with(start)) {
        return std::nullopt;
    }
    text.remove_prefix(start.size());
    return std::string(all ? text : text.substr(0, text.find(": ")));
}

std::string get_port(const std::string& address) {
    return address.substr(address.rfind(':') + 1);
}

std::string get_host(const std::string& address) {
    return address.substr(0, address.rfind(':'));
}

/// POCO gives the error number, and the address behind its own text for it.
std::optional<std::string> describe_address(const Poco::Exception& exception) {
    const std::string& message = exception.message();
    const std::size_t colon = message.find(": ");
    const std::string address = colon == std::string::npos ? "" : message.substr(colon + 2);
    switch (exception.code()) {
        case EADDRINUSE:
            return address.empty() ? "the port is in use" : "port " + get_port(address) + " is in use";
        case EADDRNOTAVAIL:
            return address.empty() ? "the address is not one of this machine"
                                   : get_host(address) + " is not an address of this machine";
        case EACCES:
            return "this user may not listen on that port; ports below 1024 need more rights";
        default:
            return std::nullopt;
    }
}

std::optional<std::string> describe_tls(const std::string& message) {
    if (const auto key = get_rest(message, "Error loading private key from file ", false)) {
        return "'" + *key + "' is not a private key that can be read (PEM, without a pass phrase)";
    }
    if (const auto certificate = get_rest(message, "Error loading certificate from file ", false)) {
        return "'" + *certificate + "' is not a certificate that can be read (PEM)";
    }
    if (const auto key = get_rest(message, "The private key does not belong to the certificate: ")) {
        return "the private key '" + *key + "' does not belong to the certificate";
    }
    return std::nullopt;
}

std::string describe_any(const std::exception& exception) {
    const auto* const error = dynamic_cast<const Poco::Exception*>(&exception);
    if (error == nullptr) {
        return exception.what();
    }
    if (dynamic_cast<const Poco::Net::HostNotFoundException*>(error) != nullptr ||
        dynamic_cast<const Poco::Net::NoAddressFoundException*>(error) != nullptr) {
        return "the host '" + error->message() + "' is not known";
    }
    const auto text = dynamic_cast<const Poco::Net::SSLException*>(error) != nullptr
                          ? describe_tls(error->message())
                          : describe_address(*error);
    return text.value_or(error->displayText());
}

}  // namespace

std::string describe(const std::exception& exception) {
    std::string line = describe_any(exception);
    std::replace_if(
        line.begin(), line.end(),
        [](char letter) { return static_cast<unsigned char>(letter) < ' ' || letter == 0x7f; }, ' ');
    return line;
}

}  // namespace kx::information_model::opc
