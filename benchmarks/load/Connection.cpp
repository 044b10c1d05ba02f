#include "load/Connection.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>

namespace kx::benchmarks {

Connection::Connection(unsigned short port) : socket_(socket(AF_INET, SOCK_STREAM, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const int on = 1;
    setsockopt(socket_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    if (connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        throw std::runtime_error("cannot connect");
    }
}

Connection::~Connection() { close(socket_); }

void Connection::send(const std::string& bytes) const {
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t count = ::send(socket_, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (count <= 0) {
            throw std::runtime_error("cannot send");
        }
        sent += static_cast<std::size_t>(count);
    }
}

void Connection::receive() {
    const std::size_t old_size = buffer_.size();
    buffer_.resize(old_size + (1U << 18));
    const ssize_t count = recv(socket_, buffer_.data() + old_size, buffer_.size() - old_size, 0);
    if (count <= 0) {
        throw std::runtime_error("connection closed");
    }
    buffer_.resize(old_size + static_cast<std::size_t>(count));
}

const std::string& Connection::exchange(const std::string& http_request) {
    send(http_request);
    buffer_.clear();
    std::size_t header_end = 0;
    while ((header_end = buffer_.find("\r\n\r\n")) == std::string::npos) {
        receive();
    }
    const auto length_at = buffer_.find("Content-Length: ");
    if (!buffer_.starts_with("HTTP/1.1 200") || length_at > header_end) {
        throw std::runtime_error("unexpected reply: " + buffer_.substr(0, 200));
    }
    const std::size_t end = header_end + 4 + std::stoul(buffer_.substr(length_at + 16, 20));
    while (buffer_.size() < end) {
        receive();
    }
    body_.assign(buffer_, header_end + 4);
    return body_;
}

std::string create_http_request(const std::string& body) {
    return "POST / HTTP/1.1\r\nHost: localhost\r\nContent-Type: text/xml; charset=utf-8\r\nContent-Length: " +
           std::to_string(body.size()) + "\r\n\r\n" + body;
}

}  // namespace kx::benchmarks
