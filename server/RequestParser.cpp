#include "server/RequestParser.h"

#include <array>

namespace kx::information_model::opc {

std::string read_body(std::istream& stream, std::size_t maximum_size) {
    std::string body;
    std::array<char, 16 * 1024> chunk;
    while (stream.read(chunk.data(), chunk.size()), stream.gcount() > 0) {
        const auto count = static_cast<std::size_t>(stream.gcount());
        if (count > maximum_size - body.size()) {
            throw RequestLimitException("the request body is too large");
        }
        body.append(chunk.data(), count);
    }
    return body;
}

Poco::AutoPtr<Poco::XML::Document> parse_request(const std::string& body) {
    return RequestBuilder().build(body.data(), body.size());
}

}  // namespace kx::information_model::opc
