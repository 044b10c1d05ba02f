#pragma once

#include "server/RequestBuilder.h"

#include <Poco/DOM/AutoPtr.h>
#include <Poco/DOM/Document.h>

#include <cstddef>
#include <istream>
#include <string>

namespace kx::information_model::opc {

/// Largest request body in bytes.
inline constexpr std::size_t MAXIMUM_BODY_SIZE = std::size_t{128} * 1024 * 1024;

/// Reads a stream to its end.
/// @param expected_size  what the sender says; memory for it is reserved, within reason
/// @throws RequestLimitException  after `maximum_size` bytes, without reading on
std::string read_body(std::istream& stream, std::size_t maximum_size = MAXIMUM_BODY_SIZE,
                      std::size_t expected_size = 0);

/// Parses a request; what comes of it, and what is refused, is said at `RequestBuilder`.
Poco::AutoPtr<Poco::XML::Document> parse_request(const std::string& body);

}  // namespace kx::information_model::opc
