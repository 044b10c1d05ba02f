#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace gateway {

/// A request as the gateway's parts see it. Headers that were not sent are empty.
struct HttpRequest {
    std::string method;
    std::string target;
    std::string host;
    std::string origin;
    std::string content_type;
    bool has_tls = false;          ///< the client speaks TLS, to us or to a proxy that says so
    std::string forwarded_prefix;  ///< what a proxy has taken from the front of the target
    std::string peer;              ///< the client's address, without port
    std::string body;
};

/// Texts that are sent one after the other, for as long as the client listens.
class EventSource {
public:
    EventSource() = default;
    EventSource(const EventSource&) = delete;
    EventSource& operator=(const EventSource&) = delete;
    virtual ~EventSource() = default;

    /// What is to be sent now; empty if nothing is. Called when all that was taken before is sent, so that a
    /// slow reader makes nothing pile up.
    virtual std::string take() = 0;

    /// Who is to be called when there is something to take.
    void set_listener(std::function<void()> listener) { listener_ = std::move(listener); }

    void notify() const {
        if (listener_) {
            listener_();
        }
    }

    /// Whether the connection is to be closed once everything is sent.
    bool is_finished() const { return is_finished_; }
    void finish() {
        is_finished_ = true;
        notify();
    }

private:
    std::function<void()> listener_;
    bool is_finished_ = false;
};

struct HttpReply {
    unsigned status = 200;
    std::string content_type;
    std::string body;
    std::vector<std::pair<std::string, std::string>> headers;
    std::shared_ptr<EventSource> events;  ///< what follows instead of the body, or null
};

/// Whether the client that waits for a reply is still there.
class Presence {
public:
    bool has_left() const { return has_left_; }

    /// Whom to call when the client leaves; replaces who was to be called before.
    void set_listener(std::function<void()> listener) { listener_ = std::move(listener); }

    void leave() {
        has_left_ = true;
        if (const auto listener = std::exchange(listener_, nullptr)) {
            listener();
        }
    }

private:
    bool has_left_ = false;
    std::function<void()> listener_;
};

}  // namespace gateway
