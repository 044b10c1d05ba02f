#pragma once

#include <Poco/Net/ServerSocket.h>
#include <Poco/Net/StreamSocket.h>

#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace xmlda::testing {

/// A server on 127.0.0.1 and a port of the system's choice that answers whatever a test says, byte for byte.
/// One connection at a time, any number of requests on each. Stops when it is destroyed.
class FakeServer {
public:
    /// Gets the whole request, headers included, and returns the whole reply. CLOSE closes the connection
    /// instead, SILENCE says nothing until the client closes it, TRICKLE a byte of a header now and then.
    using Answer = std::function<std::string(const std::string& request)>;

    static const std::string CLOSE;
    static const std::string SILENCE;
    static const std::string TRICKLE;

    explicit FakeServer(Answer answer);
    FakeServer(const FakeServer&) = delete;
    FakeServer& operator=(const FakeServer&) = delete;
    ~FakeServer();

    std::string get_url() const;

    /// The requests so far.
    std::vector<std::string> get_requests() const;

private:
    void run();
    void serve(Poco::Net::StreamSocket socket);
    /// @return empty if the client has closed, or the test is over
    std::string receive_request(Poco::Net::StreamSocket& socket);
    void trickle(Poco::Net::StreamSocket& socket);
    bool receive_some(Poco::Net::StreamSocket& socket, std::string& text);

    const Answer answer_;
    Poco::Net::ServerSocket socket_;
    std::atomic<bool> is_over_ = false;
    mutable std::mutex mutex_;
    std::vector<std::string> requests_;  // guarded by mutex_
    std::thread thread_;
};

/// An HTTP reply with this body.
std::string to_reply(const std::string& body, const std::string& status = "200 OK",
                     const std::string& content_type = "text/xml; charset=utf-8");

/// A reply with a SOAP envelope, written as other servers do it: prefixes of their own, everything qualified.
/// In `response` the prefix "da" is that of OPC XML-DA, "x" that of XML Schema, "i" that of its instances.
std::string to_soap_reply(const std::string& response, const std::string& status = "200 OK");

/// The envelope alone.
std::string to_envelope(const std::string& response);

}  // namespace xmlda::testing
