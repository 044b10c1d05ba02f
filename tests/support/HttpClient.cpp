#include "support/HttpClient.h"

#include <Poco/Exception.h>
#include <Poco/Net/NetException.h>
#include <Poco/Net/SocketAddress.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <stdexcept>
#include <utility>

namespace kx::information_model::opc::testing {

namespace {

Poco::Net::StreamSocket connect(unsigned short port) {
    return Poco::Net::StreamSocket(Poco::Net::SocketAddress("127.0.0.1", port));
}

std::string to_lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    return text;
}

}  // namespace

HttpClient::HttpClient(unsigned short port) : HttpClient(connect(port)) {}

HttpClient::HttpClient(Poco::Net::StreamSocket socket) : socket_(std::move(socket)) {
    socket_.setReceiveTimeout(Poco::Timespan(600, 0));
    socket_.setSendTimeout(Poco::Timespan(600, 0));
}

Reply HttpClient::post(const std::string& body, const std::string& path, const std::string& extra_headers) {
    send("POST " + path + " HTTP/1.1\r\nHost: localhost\r\nContent-Type: text/xml; charset=utf-8\r\n" +
         extra_headers + "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body);
    return receive();
}

void HttpClient::send(const std::string& bytes) {
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        const auto rest = std::min<std::size_t>(bytes.size() - sent, 1 << 20);
        sent += static_cast<std::size_t>(socket_.sendBytes(bytes.data() + sent, static_cast<int>(rest)));
    }
}

void HttpClient::try_send(const std::string& bytes) {
    try {
        send(bytes);
    } catch (const Poco::IOException&) {  // closed before it had taken all
    }
}

void HttpClient::finish() {
    try {
        socket_.shutdownSend();
    } catch (const Poco::IOException&) {  // closed already
    }
}

Reply HttpClient::receive() {
    Reply reply;
    const std::string status_line = read_line();
    if (!status_line.starts_with("HTTP/1.")) {
        throw std::runtime_error("not a status line: " + status_line);
    }
    reply.status = std::stoi(status_line.substr(9, 3));
    reply.reason = status_line.size() > 13 ? status_line.substr(13) : "";
    for (std::string line = read_line(); !line.empty(); line = read_line()) {
        const auto colon = line.find(": ");
        reply.headers[to_lower(line.substr(0, colon))] = line.substr(colon + 2);
    }
    if (reply.has_header("content-length")) {
        reply.body = read_exactly(std::stoul(reply.headers["content-length"]));
    } else if (reply.has_header("transfer-encoding")) {
        reply.body = read_chunks();
    } else if (reply.status != 100) {
        while (fill()) {
        }
        reply.body = std::exchange(buffer_, {});
    }
    return reply;
}

std::string HttpClient::receive_bytes(std::size_t size) {
    try {
        while (buffer_.size() < size && fill(size - buffer_.size())) {
        }
    } catch (const Poco::IOException&) {  // reset: the end as well
    }
    std::string bytes = buffer_.substr(0, size);
    buffer_.erase(0, bytes.size());
    return bytes;
}

void HttpClient::reset() {
    socket_.setLinger(true, 0);
    socket_.close();
}

bool HttpClient::is_closed(int seconds) {
    if (!socket_.poll(Poco::Timespan(seconds, 0), Poco::Net::Socket::SELECT_READ)) {
        return false;
    }
    try {
        return !fill();
    } catch (const Poco::Net::ConnectionResetException&) {
        return true;
    }
}

std::string HttpClient::read_line() {
    std::size_t end = 0;
    while ((end = buffer_.find("\r\n")) == std::string::npos) {
        if (!fill()) {
            throw std::runtime_error("connection closed inside a line: " + buffer_);
        }
    }
    std::string line = buffer_.substr(0, end);
    buffer_.erase(0, end + 2);
    return line;
}

std::string HttpClient::read_exactly(std::size_t count) {
    while (buffer_.size() < count) {
        if (!fill()) {
            throw std::runtime_error("connection closed inside a body");
        }
    }
    std::string bytes = buffer_.substr(0, count);
    buffer_.erase(0, count);
    return bytes;
}

std::string HttpClient::read_chunks() {
    std::string body;
    while (const std::size_t size = std::stoul(read_line(), nullptr, 16)) {
        body += read_exactly(size);
        read_line();
    }
    read_line();
    return body;
}

bool HttpClient::fill(std::size_t most) {
    std::array<char, 64 * 1024> chunk;
    const int count = socket_.receiveBytes(chunk.data(), static_cast<int>(std::min(chunk.size(), most)));
    buffer_.append(chunk.data(), static_cast<std::size_t>(count));
    return count > 0;
}

std::string exchange(unsigned short port, const std::string& bytes) {
    HttpClient client(port);
    client.try_send(bytes);
    client.finish();
    return client.receive_bytes();
}

std::string create_post(const std::string& body, const std::string& extra_headers) {
    return "POST / HTTP/1.1\r\nHost: localhost\r\n" + extra_headers +
           "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

std::size_t count_answers(const std::string& received) {
    std::size_t count = 0;
    for (std::size_t place = received.find("HTTP/1."); place != std::string::npos;
         place = received.find("HTTP/1.", place + 1)) {
        ++count;
    }
    return count;
}

}  // namespace kx::information_model::opc::testing
