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

Connection::~Connection() {
    close(socket_);
}

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
    body_.clear();
    position_ = 0;
    const std::string header = receive_until("\r\n\r\n");
    if (!header.starts_with("HTTP/1.1 200")) {
        throw std::runtime_error("unexpected reply: " + header);
    }
    if (const auto length_at = header.find("Content-Length: "); length_at != std::string::npos) {
        receive_body(std::stoul(header.substr(length_at + 16)));
    } else if (header.find("Transfer-Encoding: chunked") != std::string::npos) {
        receive_chunks();
    } else {
        throw std::runtime_error("a reply without length: " + header);
    }
    return body_;
}

/// Takes what comes up to and including `end`.
std::string Connection::receive_until(const std::string& end) {
    std::size_t found = 0;
    while ((found = buffer_.find(end, position_)) == std::string::npos) {
        receive();
    }
    std::string text = buffer_.substr(position_, found + end.size() - position_);
    position_ = found + end.size();
    return text;
}

/// Takes `size` bytes and adds them to the body.
void Connection::receive_body(std::size_t size) {
    while (buffer_.size() - position_ < size) {
        receive();
    }
    body_.append(buffer_, position_, size);
    position_ += size;
}

void Connection::receive_chunks() {
    while (const std::size_t size = std::stoul(receive_until("\r\n"), nullptr, 16)) {
        receive_body(size);
        receive_until("\r\n");
    }
    receive_until("\r\n");
}

std::string create_http_request(const std::string& body) {
    return "POST / HTTP/1.1\r\nHost: localhost\r\nContent-Type: text/xml; charset=utf-8\r\nContent-Length: " +
           std::to_string(body.size()) + "\r\n\r\n" + body;
}

}  // namespace kx::benchmarks
