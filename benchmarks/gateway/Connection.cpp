#include "gateway/Connection.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <stdexcept>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

namespace kx::benchmarks {
namespace {

[[noreturn]] void fail(const std::string& what) {
    throw std::runtime_error(what + ": " + std::strerror(errno));
}

}  // namespace

std::string envelop(const std::string& content) {
    return "<soap:Envelope xmlns:soap=\"http://schemas.xmlsoap.org/soap/envelope/\" "
           "xmlns=\"http://opcfoundation.org/webservices/XMLDA/1.0/\"><soap:Body>" +
           content + "</soap:Body></soap:Envelope>";
}

std::string create_request(const std::string& target, const std::string& type, const std::string& body) {
    return "POST " + target + " HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Type: " + type +
           "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

double get_processor_time(int process) {
    clockid_t clock{};
    timespec time{};
    if (::clock_getcpuclockid(process, &clock) != 0 || ::clock_gettime(clock, &time) != 0) {
        throw std::runtime_error("there is no process " + std::to_string(process));
    }
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

Connection::Connection(std::uint16_t port, std::uint32_t own) : socket_(::socket(AF_INET, SOCK_STREAM, 0)) {
    if (socket_ < 0) {
        fail("socket");
    }
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK - 1 + own);
    const int yes = 1;
    ::setsockopt(socket_, IPPROTO_IP, IP_BIND_ADDRESS_NO_PORT, &yes, sizeof yes);
    if (::bind(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        fail("bind");
    }
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        fail("connect");
    }
    ::setsockopt(socket_, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
}

Connection::~Connection() {
    ::close(socket_);
}

void Connection::send(const std::string& request) {
    reply_.clear();
    if (::send(socket_, request.data(), request.size(), MSG_NOSIGNAL) !=
        static_cast<ssize_t>(request.size())) {
        fail("send");
    }
}

bool Connection::receive() {
    char bytes[16384];
    const ssize_t count = ::recv(socket_, bytes, sizeof bytes, 0);
    if (count <= 0) {
        fail("a client was disconnected");
    }
    reply_.append(bytes, static_cast<std::size_t>(count));
    const auto end = reply_.find("\r\n\r\n");
    const auto length = reply_.find("Content-Length: ");
    if (end == std::string::npos || length == std::string::npos) {
        return false;
    }
    return reply_.size() >= end + 4 + std::strtoul(reply_.c_str() + length + 16, nullptr, 10);
}

const std::string& Connection::call(const std::string& request) {
    send(request);
    while (!receive()) {
    }
    if (!reply_.starts_with("HTTP/1.1 200")) {
        throw std::runtime_error(reply_);
    }
    return reply_;
}

}  // namespace kx::benchmarks
