#pragma once

#include "xmlda/Failure.h"

#include <array>
#include <cstddef>
#include <functional>
#include <string>

namespace xmlda {

/// What a server answered.
struct HttpReply {
    int status = 0;
    std::string reason;
    std::string content_type;
    std::string body;         ///< with chunks joined
    bool stays_open = false;  ///< another request can follow on the same connection
};

/// The connection was closed before the first byte of a reply: on one that was used before, the server had
/// given it up, and the request can be sent again.
class NoReply : public Failure {
public:
    NoReply() : Failure(ExitStatus::NO_CONNECTION, "the server closed the connection without an answer") {}
};

/// Reads one HTTP/1.0 or HTTP/1.1 reply, whose body ends by its length, its chunks or the connection's end.
/// Takes no more memory than it is allowed to, whatever the server sends. Lives for one reply.
class HttpReplyReader {
public:
    /// Fills a buffer with at least one byte and returns their number, or 0 at the end.
    using Source = std::function<std::size_t(char* buffer, std::size_t size)>;

    /// @param maximum_size  of the body, in bytes
    HttpReplyReader(Source source, std::size_t maximum_size);

    /// @throws NoReply  if the source ended at once
    /// @throws Failure  NO_CONNECTION: it ended in the middle of the reply; UNEXPECTED_CONTENT: what came is
    ///                  not HTTP, or too large
    HttpReply read();

private:
    /// @return whether there is more
    bool fill();
    char get();
    std::string read_line(std::size_t maximum_size);
    void wait_for_first_byte();
    std::string read_head();
    void read_exactly(std::size_t count, std::string& body);
    void read_to_end(std::string& body);
    void read_chunks(std::string& body);
    void check_size(std::size_t size) const;

    Source source_;
    std::size_t maximum_size_;
    std::array<char, std::size_t{16} * 1024> buffer_;
    std::size_t position_ = 0;
    std::size_t end_ = 0;
};

}  // namespace xmlda
