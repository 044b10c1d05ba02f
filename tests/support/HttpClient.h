#pragma once

#include <Poco/Net/StreamSocket.h>

#include <map>
#include <string>

namespace kx::information_model::opc::testing {

/// What a client received.
struct Reply {
    int status = 0;
    std::string reason;
    std::map<std::string, std::string> headers;  ///< by name in lower case
    std::string body;                            ///< with chunks joined

    bool has_header(const std::string& name) const { return headers.count(name) > 0; }
};

/// One connection to 127.0.0.1 on which a test decides every byte. Sends a request when told, reads a reply
/// when told; fails with an exception after two minutes of silence, which an emulated processor may need for
/// a large reply.
class HttpClient {
public:
    explicit HttpClient(unsigned short port);
    /// Talks over a socket that is already connected, for example a secure one.
    explicit HttpClient(Poco::Net::StreamSocket socket);

    /// Sends a POST request with a content length and reads the reply.
    Reply post(const std::string& body, const std::string& path = "/", const std::string& extra_headers = "");

    /// Sends these bytes.
    void send(const std::string& bytes);

    /// Reads one reply: status line, headers, and the body by its length, its chunks, or the connection's
    /// end.
    Reply receive();

    /// Whether the server has closed the connection; waits for it up to `seconds`.
    bool is_closed(int seconds);

    Poco::Net::StreamSocket& get_socket() { return socket_; }

private:
    std::string read_line();
    std::string read_exactly(std::size_t count);
    std::string read_chunks();
    bool fill();

    Poco::Net::StreamSocket socket_;
    std::string buffer_;
};

}  // namespace kx::information_model::opc::testing
