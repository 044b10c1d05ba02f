#include "hardening/RawClient.h"

#include <Poco/Exception.h>
#include <Poco/Net/SocketAddress.h>

#include <algorithm>
#include <array>

namespace kx::information_model::opc::testing {

RawClient::RawClient(unsigned short port) : socket_(Poco::Net::SocketAddress("127.0.0.1", port)) {
    socket_.setReceiveTimeout(Poco::Timespan(60, 0));
    socket_.setSendTimeout(Poco::Timespan(60, 0));
}

void RawClient::send(const std::string& bytes) {
    try {
        for (std::size_t sent = 0; sent < bytes.size();) {
            const auto size = static_cast<int>(std::min<std::size_t>(bytes.size() - sent, 1 << 20));
            sent += static_cast<std::size_t>(socket_.sendBytes(bytes.data() + sent, size));
        }
    } catch (const Poco::IOException&) {  // closed before it had taken all
    }
}

void RawClient::finish() {
    try {
        socket_.shutdownSend();
    } catch (const Poco::IOException&) {  // closed already
    }
}

std::string RawClient::receive(std::size_t size) {
    std::string received;
    std::array<char, 64 * 1024> chunk;
    try {
        while (received.size() < size) {
            const auto most = static_cast<int>(std::min(chunk.size(), size - received.size()));
            const int count = socket_.receiveBytes(chunk.data(), most);
            if (count <= 0) {
                break;
            }
            received.append(chunk.data(), static_cast<std::size_t>(count));
        }
    } catch (const Poco::IOException&) {  // reset: the end as well
    }
    return received;
}

void RawClient::reset() {
    socket_.setLinger(true, 0);
    socket_.close();
}

std::string exchange(unsigned short port, const std::string& bytes) {
    RawClient client(port);
    client.send(bytes);
    client.finish();
    return client.receive();
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
