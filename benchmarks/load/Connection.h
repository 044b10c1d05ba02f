#pragma once

#include <openssl/ssl.h>

#include <cstddef>
#include <memory>
#include <string>

namespace kx::benchmarks {

/// How a connection is protected.
enum class PROTECTION { PLAIN, TLS };

/// A keep-alive HTTP connection to 127.0.0.1 that costs the client as little as possible. Opened again when
/// the server has closed it in the meantime. One thread at a time.
class Connection {
public:
    /// @throws std::runtime_error  if nothing listens on the port, or the TLS handshake fails; any
    ///                             certificate is accepted
    explicit Connection(unsigned short port, PROTECTION protection = PROTECTION::PLAIN);
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    ~Connection();

    /// Sends a whole HTTP request, made by `create_http_request`, and reads the whole reply.
    /// @return the reply's body, valid until the next call
    /// @throws std::runtime_error  if the status is not 200, or the connection ends
    const std::string& exchange(const std::string& http_request);

    /// The next request gets a connection of its own, which resumes the TLS session of this one.
    void close();

    /// Whether the TLS session is that of an earlier connection.
    bool is_resumed() const { return session_ != nullptr && SSL_session_reused(session_.get()) == 1; }

private:
    struct SslDeleter {
        void operator()(SSL* session) const { SSL_free(session); }
        void operator()(SSL_SESSION* ticket) const { SSL_SESSION_free(ticket); }
    };

    void open();
    bool is_closed_by_server() const;
    void send(const std::string& bytes) const;
    void receive();
    std::string receive_until(const std::string& end);
    void receive_body(std::size_t size);
    void receive_chunks();

    unsigned short port_;
    PROTECTION protection_;
    int socket_ = -1;                                  // -1 while closed
    std::unique_ptr<SSL, SslDeleter> session_;         // null without TLS
    std::unique_ptr<SSL_SESSION, SslDeleter> ticket_;  // of the connection before, null if there was none
    std::string buffer_;
    std::size_t position_ = 0;  // of what has not been taken from the buffer yet
    std::string body_;
};

/// The bytes of a POST request.
std::string create_http_request(const std::string& body, const std::string& path = "/");

}  // namespace kx::benchmarks
