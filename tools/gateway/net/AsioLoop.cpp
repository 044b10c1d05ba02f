#include "gateway/net/AsioLoop.h"

#include <csignal>
#include <unordered_map>
#include <utility>

#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/steady_timer.hpp>

namespace gateway {

struct AsioLoop::Parts {
    boost::asio::io_context context{1};
    boost::asio::signal_set signals{context};
    TimerId last_timer = 0;
    std::unordered_map<TimerId, boost::asio::steady_timer> timers;

    void wait_for_signal(const std::function<void()>& callback) {
        signals.async_wait([this, callback](const boost::system::error_code& error, int) {
            if (!error) {
                wait_for_signal(callback);
                callback();
            }
        });
    }
};

AsioLoop::AsioLoop() : parts_(std::make_unique<Parts>()) {}

AsioLoop::~AsioLoop() = default;

void AsioLoop::post(std::function<void()> callback) {
    boost::asio::post(parts_->context, std::move(callback));
}

EventLoop::TimerId AsioLoop::call_after(std::chrono::milliseconds delay, std::function<void()> callback) {
    const TimerId id = ++parts_->last_timer;
    auto& timer = parts_->timers.try_emplace(id, parts_->context, delay).first->second;
    timer.async_wait([this, id, callback = std::move(callback)](const boost::system::error_code& error) {
        if (!error && parts_->timers.erase(id) > 0) {
            callback();
        }
    });
    return id;
}

void AsioLoop::cancel(TimerId timer) {
    parts_->timers.erase(timer);
}

std::chrono::steady_clock::time_point AsioLoop::get_time() const {
    return std::chrono::steady_clock::now();
}

void AsioLoop::on_termination(std::function<void()> callback) {
    parts_->signals.add(SIGINT);
    parts_->signals.add(SIGTERM);
    parts_->wait_for_signal(callback);
}

void AsioLoop::run() {
    parts_->context.run();
}

void AsioLoop::stop() {
    parts_->context.stop();
}

boost::asio::io_context& AsioLoop::get_context() {
    return parts_->context;
}

}  // namespace gateway
