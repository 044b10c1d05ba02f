#pragma once

#include <cstddef>
#include <string>

namespace kx::benchmarks {

/// A keep-alive HTTP connection to 127.0.0.1 that costs the client as little as possible.
class Connection {
public:
    explicit Connection(unsigned short port);
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    ~Connection();

    /// Sends a whole HTTP request, made by `create_http_request`, and reads the whole reply.
    /// @return the reply's body, valid until the next call
    /// @throws std::runtime_error  if the status is not 200, or the connection ends
    const std::string& exchange(const std::string& http_request);

private:
    void send(const std::string& bytes) const;
    void receive();
    std::string receive_until(const std::string& end);
    void receive_body(std::size_t size);
    void receive_chunks();

    int socket_;
    std::string buffer_;
    std::size_t position_ = 0;  // of what has not been taken from the buffer yet
    std::string body_;
};

/// The bytes of a POST request.
std::string create_http_request(const std::string& body);

}  // namespace kx::benchmarks
