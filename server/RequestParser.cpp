#include "server/RequestParser.h"

namespace kx::information_model::opc {

Poco::AutoPtr<Poco::XML::Document> parse_request(const std::string& body) {
    return RequestBuilder().build(body.data(), body.size());
}

}  // namespace kx::information_model::opc
