#pragma once

#include <Poco/Net/StreamSocket.h>

#include <cstddef>
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
/// when told; fails with an exception after ten minutes of silence, of which an emulated processor may need
/// some for a large reply.
class HttpClient {
public:
    explicit HttpClient(unsigned short port);
    /// Talks over a socket that is already connected, for example a secure one.
    explicit HttpClient(Poco::Net::StreamSocket socket);

    /// Sends a POST request with a content length and reads the reply.
    Reply post(const std::string& body, const std::string& path = "/", const std::string& extra_headers = "");

    /// Sends these bytes.
    void send(const std::string& bytes);

    /// Sends as many of these bytes as the server takes: it may close the connection before it has all.
    void try_send(const std::string& bytes);

    /// Tells the server that nothing more comes.
    void finish();

    /// Reads one reply: status line, headers, and the body by its length, its chunks, or the connection's
    /// end.
    Reply receive();

    /// Reads bytes as they come until `size` of them are there, or up to the end of the connection; a reset
    /// is an end as well.
    std::string receive_bytes(std::size_t size = std::string::npos);

    /// Closes the connection with a reset, not an end.
    void reset();

    /// Whether the server has closed the connection; waits for it up to `seconds`.
    bool is_closed(int seconds);

    Poco::Net::StreamSocket& get_socket() { return socket_; }

private:
    std::string read_line();
    std::string read_exactly(std::size_t count);
    std::string read_chunks();
    /// Reads what comes, but not more than that many bytes. @return whether the connection has not ended
    bool fill(std::size_t most = std::string::npos);

    Poco::Net::StreamSocket socket_;
    std::string buffer_;
};

/// Sends these bytes and then the end, and reads all that comes until the server closes the connection.
std::string exchange(unsigned short port, const std::string& bytes);

/// A POST request with this body and its length.
std::string create_post(const std::string& body, const std::string& extra_headers = "");

/// How many answers these bytes hold.
std::size_t count_answers(const std::string& received);

}  // namespace kx::information_model::opc::testing
