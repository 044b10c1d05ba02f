#include "xmlda/http/Connection.h"

#include "xmlda/Failure.h"

#include <Poco/Net/DNS.h>
#include <Poco/Net/NetException.h>
#include <Poco/Net/SSLException.h>
#include <Poco/Net/SecureStreamSocket.h>
#include <Poco/Timespan.h>

#include <cerrno>
#include <cstdint>
#include <vector>

#include <poll.h>

namespace xmlda {
namespace {

using Poco::Net::SecureStreamSocket;
using Poco::Net::SocketAddress;
using Poco::Net::StreamSocket;

Poco::Timespan to_timespan(std::chrono::milliseconds time) {
    return Poco::Timespan(std::chrono::microseconds(time).count());
}

Failure create_time_out(const std::string& what) {
    return {ExitStatus::TIMED_OUT, what};
}

Failure create_break(const std::string& reason) {
    return {ExitStatus::NO_CONNECTION, "the connection broke: " + reason};
}

/// The text of an exception without its class's name, unless there is nothing else.
std::string get_text(const Poco::Exception& error) {
    return error.message().empty() ? error.name() : error.message();
}

/// The addresses of a host's name; a numeric address is its own.
std::vector<Poco::Net::IPAddress> look_up(const std::string& host) {
    Poco::Net::IPAddress address;
    if (Poco::Net::IPAddress::tryParse(host, address)) {
        return {address};  // the name service would be asked for its name
    }
    try {
        return Poco::Net::DNS::resolve(host).addresses();
    } catch (const Poco::Exception&) {
        return {};
    }
}

std::vector<SocketAddress> resolve(const Endpoint& endpoint) {
    std::vector<SocketAddress> addresses;
    for (const Poco::Net::IPAddress& address : look_up(endpoint.host)) {
        addresses.emplace_back(address, endpoint.port);
    }
    if (addresses.empty()) {
        throw Failure(ExitStatus::UNKNOWN_HOST, "unknown host '" + endpoint.host + "'");
    }
    return addresses;
}

StreamSocket connect(const SocketAddress& address, const Deadline& deadline) {
    const std::string place = "cannot connect to " + address.toString();
    try {
        StreamSocket socket;
        socket.connect(address, to_timespan(deadline.get_remaining()));
        socket.setNoDelay(true);
        return socket;
    } catch (const Poco::TimeoutException&) {
        throw create_time_out(place + " within the time-out");
    } catch (const Poco::Net::ConnectionRefusedException&) {
        throw Failure(ExitStatus::NO_CONNECTION, place + ": connection refused");
    } catch (const Poco::Exception& error) {
        throw Failure(ExitStatus::NO_CONNECTION, place + ": " + error.name());
    }
}

/// Connects to the first address that answers. What the last one said counts if none does.
StreamSocket connect_to_any(const Endpoint& endpoint, const Deadline& deadline) {
    const std::vector<SocketAddress> addresses = resolve(endpoint);
    for (std::size_t i = 0; i + 1 < addresses.size() && !deadline.has_passed(); ++i) {
        try {
            return connect(addresses[i], deadline);
        } catch (const Failure&) {
            continue;  // the next address may do
        }
    }
    return connect(addresses.back(), deadline);
}

Failure explain_tls(const Endpoint& endpoint, const TlsContext& tls, const std::string& text) {
    const std::string place = "TLS with " + endpoint.get_authority();
    if (!tls.get_refusal().empty()) {
        return {ExitStatus::TLS_FAILURE, place + ": the certificate is not trusted: " + tls.get_refusal() +
                                             " (--ca names an authority to trust, --insecure takes any)"};
    }
    return {ExitStatus::TLS_FAILURE, place + " failed: " + text};
}

}  // namespace

Connection::Connection(const Endpoint& endpoint, const TlsContext* tls, const Deadline& deadline,
                       const Interruption* interruption)
    : socket_(connect_to_any(endpoint, deadline)), interruption_(interruption) {
    socket_.setBlocking(false);
    if (tls != nullptr) {
        begin_tls(endpoint, *tls, deadline);
    }
}

void Connection::send(std::string_view bytes, const Deadline& deadline) {
    while (!bytes.empty()) {
        int count = 0;
        try {
            count = socket_.sendBytes(bytes.data(), static_cast<int>(bytes.size()));
        } catch (const Poco::Exception& error) {
            throw create_break(get_text(error));
        }
        if (count > 0) {
            bytes.remove_prefix(static_cast<std::size_t>(count));
        } else {
            wait_for(get_needed_events(count, POLLOUT), deadline);
        }
    }
}

std::size_t Connection::receive(char* buffer, std::size_t size, const Deadline& deadline) {
    while (true) {
        int count = 0;
        try {
            count = socket_.receiveBytes(buffer, static_cast<int>(size));
        } catch (const Poco::Exception& error) {
            throw create_break(get_text(error));
        }
        if (count >= 0) {
            return static_cast<std::size_t>(count);
        }
        wait_for(get_needed_events(count, POLLIN), deadline);
    }
}

bool Connection::is_idle() {
    pollfd entry = {.fd = socket_.impl()->sockfd(), .events = POLLIN, .revents = 0};
    return ::poll(&entry, 1, 0) == 0;
}

void Connection::begin_tls(const Endpoint& endpoint, const TlsContext& tls, const Deadline& deadline) {
    try {
        SecureStreamSocket secure = SecureStreamSocket::attach(socket_, endpoint.host, tls.get());
        socket_ = secure;
        for (int result = secure.completeHandshake(); result != 1; result = secure.completeHandshake()) {
            wait_for(get_needed_events(result, POLLIN), deadline);
        }
        secure.verifyPeerCertificate(endpoint.host);
    } catch (const Failure&) {
        throw create_time_out("TLS with " + endpoint.get_authority() +
                              " was not agreed on within the time-out");
    } catch (const Poco::Net::CertificateValidationException&) {
        throw Failure(ExitStatus::TLS_FAILURE,
                      "TLS with " + endpoint.get_authority() +
                          ": the certificate is for another host (--insecure takes any)");
    } catch (const Poco::Exception& error) {
        throw explain_tls(endpoint, tls, get_text(error));
    }
}

void Connection::wait_for(short events, const Deadline& deadline) const {
    const int other = interruption_ == nullptr ? -1 : interruption_->get_descriptor();  // -1 is passed over
    pollfd entries[] = {{.fd = socket_.impl()->sockfd(), .events = events, .revents = 0},
                        {.fd = other, .events = POLLIN, .revents = 0}};
    int count = 0;
    do {
        count = ::poll(entries, 2, static_cast<int>(deadline.get_remaining().count()));
    } while (count < 0 && errno == EINTR);
    if (entries[1].revents != 0) {
        throw Interrupted();
    }
    if (count == 0) {
        throw create_time_out("no complete reply within the time-out");
    }
}

short Connection::get_needed_events(int result, short otherwise) const {
    if (!socket_.secure()) {
        return otherwise;
    }
    return result == SecureStreamSocket::ERR_SSL_WANT_WRITE ? static_cast<short>(POLLOUT)
                                                            : static_cast<short>(POLLIN);
}

}  // namespace xmlda
