#pragma once

#include <cstdint>
#include <string>

namespace kx::benchmarks {

/// A SOAP envelope of the published schema.
std::string envelop(const std::string& content);

/// A POST with its head.
std::string create_request(const std::string& target, const std::string& type, const std::string& body);

/// Processor time of a process so far, user and system, in seconds.
/// @throws std::runtime_error  there is no such process
double get_processor_time(int process);

/// A connection that stays open: sends requests, and takes the replies to them.
class Connection {
public:
    /// @param own  the last number of its own address: 127.0.0.1 and so on
    /// @throws std::runtime_error  nobody listens there
    explicit Connection(std::uint16_t port, std::uint32_t own = 1);
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    ~Connection();

    int get_socket() const { return socket_; }

    void send(const std::string& request);

    /// Takes what has come, or waits for it.
    /// @return whether the reply is complete
    /// @throws std::runtime_error  the connection has ended
    bool receive();

    /// Sends a request and waits for the reply.
    /// @throws std::runtime_error  its status is not 200
    const std::string& call(const std::string& request);

    const std::string& get_reply() const { return reply_; }

private:
    int socket_;
    std::string reply_;
};

}  // namespace kx::benchmarks
