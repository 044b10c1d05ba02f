#include "server/RequestParser.h"

#include <algorithm>
#include <array>

namespace kx::information_model::opc {

namespace {

constexpr std::size_t CHUNK_SIZE = std::size_t{16} * 1024;

// What a sender gets by just announcing it.
constexpr std::size_t MAXIMUM_RESERVED_SIZE = std::size_t{16} * 1024 * 1024;

}  // namespace

std::string read_body(std::istream& stream, std::size_t maximum_size, std::size_t expected_size) {
    std::string body;
    body.reserve(std::min({maximum_size, expected_size, MAXIMUM_RESERVED_SIZE}));
    std::array<char, CHUNK_SIZE> chunk;
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
