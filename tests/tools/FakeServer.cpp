#include "FakeServer.h"

#include <Poco/Exception.h>
#include <Poco/Net/SocketAddress.h>
#include <Poco/Timespan.h>

#include <array>
#include <utility>

namespace xmlda::testing {
namespace {

const Poco::Timespan SOME_TIME(0, 20'000);

std::size_t get_content_length(const std::string& head) {
    const std::string name = "Content-Length: ";
    const std::size_t begin = head.find(name);
    return begin == std::string::npos ? 0 : std::stoul(head.substr(begin + name.size()));
}

}  // namespace

const std::string FakeServer::CLOSE = "(close)";
const std::string FakeServer::SILENCE = "(silence)";
const std::string FakeServer::TRICKLE = "(trickle)";

FakeServer::FakeServer(Answer answer)
    : answer_(std::move(answer)),
      socket_(Poco::Net::SocketAddress("127.0.0.1", 0)),
      thread_([this] { run(); }) {}

FakeServer::~FakeServer() {
    is_over_ = true;
    thread_.join();
}

std::string FakeServer::get_url() const {
    return "http://" + socket_.address().toString();
}

std::vector<std::string> FakeServer::get_requests() const {
    const std::lock_guard lock(mutex_);
    return requests_;
}

void FakeServer::run() {
    while (!is_over_) {
        if (socket_.poll(SOME_TIME, Poco::Net::Socket::SELECT_READ)) {
            try {
                serve(socket_.acceptConnection());
            } catch (const Poco::Exception&) {
                continue;  // the client went away: the next one
            }
        }
    }
}

void FakeServer::serve(Poco::Net::StreamSocket socket) {
    while (true) {
        const std::string request = receive_request(socket);
        if (request.empty()) {
            return;
        }
        {
            const std::lock_guard lock(mutex_);
            requests_.push_back(request);
        }
        const std::string reply = answer_(request);
        if (reply == CLOSE) {
            return;
        }
        if (reply == TRICKLE) {
            return trickle(socket);
        }
        std::string rest = reply == SILENCE ? "" : reply;
        while (!rest.empty()) {
            rest.erase(
                0, static_cast<std::size_t>(socket.sendBytes(rest.data(), static_cast<int>(rest.size()))));
        }
    }
}

std::string FakeServer::receive_request(Poco::Net::StreamSocket& socket) {
    std::string request;
    std::size_t head_size = 0;
    while (head_size == 0 || request.size() < head_size + get_content_length(request)) {
        if (!receive_some(socket, request)) {
            return "";
        }
        const std::size_t end = request.find("\r\n\r\n");
        head_size = end == std::string::npos ? 0 : end + 4;
    }
    return request;
}

void FakeServer::trickle(Poco::Net::StreamSocket& socket) {
    const std::string head = "HTTP/1.1 200 OK\r\nX-Header: ";
    socket.sendBytes(head.data(), static_cast<int>(head.size()));
    while (!is_over_ && !socket.poll(SOME_TIME, Poco::Net::Socket::SELECT_READ)) {
        socket.sendBytes("x", 1);
    }
}

bool FakeServer::receive_some(Poco::Net::StreamSocket& socket, std::string& text) {
    while (!socket.poll(SOME_TIME, Poco::Net::Socket::SELECT_READ)) {
        if (is_over_) {
            return false;
        }
    }
    std::array<char, 4096> buffer;
    const int count = socket.receiveBytes(buffer.data(), static_cast<int>(buffer.size()));
    text.append(buffer.data(), static_cast<std::size_t>(count > 0 ? count : 0));
    return count > 0;
}

std::string to_reply(const std::string& body, const std::string& status, const std::string& content_type) {
    return "HTTP/1.1 " + status + "\r\nContent-Type: " + content_type +
           "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

std::string to_soap_reply(const std::string& response, const std::string& status) {
    return to_reply(to_envelope(response), status);
}

std::string to_envelope(const std::string& response) {
    return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
           "<E:Envelope xmlns:E=\"http://schemas.xmlsoap.org/soap/envelope/\" "
           "xmlns:da=\"http://opcfoundation.org/webservices/XMLDA/1.0/\" "
           "xmlns:x=\"http://www.w3.org/2001/XMLSchema\" "
           "xmlns:i=\"http://www.w3.org/2001/XMLSchema-instance\">\n  <E:Header/>\n  <E:Body>\n" +
           response + "\n  </E:Body>\n</E:Envelope>\n";
}

}  // namespace xmlda::testing
