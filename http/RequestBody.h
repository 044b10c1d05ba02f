#pragma once

#include <Poco/Net/HTTPServerRequest.h>

#include <cstddef>
#include <cstdint>
#include <istream>
#include <string>

namespace kx::information_model::opc {

/// Largest request body in bytes.
inline constexpr std::size_t MAXIMUM_BODY_SIZE = std::size_t{128} * 1024 * 1024;

/// What a connection delivers, one after the other.
class ByteSource {
public:
    ByteSource() = default;
    ByteSource(const ByteSource&) = delete;
    ByteSource& operator=(const ByteSource&) = delete;
    virtual ~ByteSource() = default;

    /// @return the next byte as an unsigned char, or -1 at the end
    virtual int get() = 0;

    /// Waits for bytes and takes those that are there.
    /// @param size  at least 1, at most the largest int
    /// @return how many were put into `buffer`; 0 at the end
    virtual std::size_t read(char* buffer, std::size_t size) = 0;
};

/// Reads a stream to its end.
/// @throws RequestLimitException  after `maximum_size` bytes, without reading on
std::string read_to_end(std::istream& stream, std::size_t maximum_size = MAXIMUM_BODY_SIZE);

/// Reads a body of known length.
/// @throws RequestLimitException         if it is longer than `maximum_size`, without reading it
/// @throws Poco::Net::MessageException   if the source ends before
std::string read_length(ByteSource& source, std::uint64_t length,
                        std::size_t maximum_size = MAXIMUM_BODY_SIZE);

/// Reads a body in chunks and the trailer behind it, strictly as RFC 9112, section 7.1, writes them. A
/// reader that took "no size" for the last chunk, or a line feed for the end of a line, would find the next
/// request at another place than a proxy in front of it.
/// @throws RequestLimitException         after `maximum_size` bytes, without reading on
/// @throws Poco::Net::MessageException   if the chunks are malformed, or the source ends before
std::string read_chunks(ByteSource& source, std::size_t maximum_size = MAXIMUM_BODY_SIZE);

/// Whether the request is of HTTP/1.0 or 1.1. What else a client writes there must not get into an answer.
bool has_known_version(const Poco::Net::HTTPServerRequest& request);

/// Reads the body of a request. Its end is where RFC 9112, section 6.3, finds it: a request without a length
/// has none, whatever its method. Where a body in chunks has a Content-Length as well, or comes from an
/// HTTP/1.0 client, others may find another end, and the connection is closed after the answer.
/// @throws RequestLimitException         if it is longer than `MAXIMUM_BODY_SIZE`
/// @throws Poco::Net::MessageException   if the version of HTTP is not known, the header does not say
///                                       clearly where the body ends, or the
///                                       body ends before
/// @throws Poco::Exception               if the connection fails
std::string read_body(Poco::Net::HTTPServerRequest& request);

}  // namespace kx::information_model::opc
