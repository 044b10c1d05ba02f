#include "ForeignServer.h"

namespace xmlda::testing {
namespace {

/// The text between two others.
std::string get_between(const std::string& text, const std::string& before, const std::string& behind) {
    const std::size_t begin = text.find(before);
    if (begin == std::string::npos) {
        return "";
    }
    const std::size_t start = begin + before.size();
    return text.substr(start, text.find(behind, start) - start);
}

std::string get_service(const std::string& request) {
    return get_between(request, "SOAPAction: \"http://opcfoundation.org/webservices/XMLDA/1.0/", "\"");
}

}  // namespace

ForeignServer::ForeignServer(std::map<std::string, Service> services)
    : services_(std::move(services)),
      server_([this](const std::string& request) { return answer(request); }) {}

std::vector<std::string> ForeignServer::get_requests(const std::string& service) const {
    std::vector<std::string> found;
    for (const std::string& request : server_.get_requests()) {
        if (get_service(request) == service) {
            found.push_back(get_between(request, "<soap:Body>", "</soap:Body>"));
        }
    }
    return found;
}

std::string ForeignServer::answer(const std::string& request) {
    const std::string name = get_service(request);
    const auto service = services_.find(name);
    if (service == services_.end()) {
        return to_reply("", "404 Not Found");
    }
    const std::string response =
        service->second(get_between(request, "<soap:Body>", "</soap:Body>"), counts_[name]++);
    const bool is_complete = response.starts_with("HTTP/") || response.starts_with("(");
    return is_complete ? response : to_soap_reply(response);
}

ForeignServer::Service always(const std::string& response) {
    return [response](const std::string& /*request*/, int /*earlier*/) { return response; };
}

}  // namespace xmlda::testing
