#pragma once

#include <Poco/Net/StreamSocket.h>

#include <cstddef>
#include <string>

namespace kx::information_model::opc::testing {

/// A connection on which a test leaves the paths of HTTP. What fails because the server has closed it is
/// taken for the end of the connection.
class RawClient {
public:
    explicit RawClient(unsigned short port);

    /// Sends these bytes, or as many of them as the server takes.
    void send(const std::string& bytes);

    /// Tells the server that nothing more comes.
    void finish();

    /// Reads until `size` bytes are there, or to the end of the connection; fails with an exception after 60
    /// seconds of silence.
    std::string receive(std::size_t size = std::string::npos);

    /// Closes the connection with a reset, not an end.
    void reset();

private:
    Poco::Net::StreamSocket socket_;
};

/// Sends these bytes and then the end, and reads all that comes until the server closes the connection.
std::string exchange(unsigned short port, const std::string& bytes);

/// A POST request with this body and its length.
std::string create_post(const std::string& body, const std::string& extra_headers = "");

/// How many answers these bytes hold.
std::size_t count_answers(const std::string& received);

}  // namespace kx::information_model::opc::testing
