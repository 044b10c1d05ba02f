#include "http/OpenConnections.h"

#include "http/Connection.h"

#include <algorithm>
#include <thread>

namespace kx::information_model::opc {

void OpenConnections::add(Connection& connection) {
    const std::lock_guard<std::mutex> lock(mutex_);
    connections_.insert(&connection);
}

void OpenConnections::remove(Connection& connection) noexcept {
    const std::lock_guard<std::mutex> lock(mutex_);
    connections_.erase(&connection);
}

template <class Do>
void OpenConnections::for_each(Do action) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    std::for_each(connections_.begin(), connections_.end(), action);
}

void OpenConnections::end_waiting() {
    are_ending_ = true;  // before: those that begin to wait meanwhile see it
    for_each([](Connection* connection) { connection->end_waiting(); });
}

bool OpenConnections::have_request() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return std::any_of(connections_.begin(), connections_.end(),
                       [](const Connection* connection) { return connection->has_request(); });
}

bool OpenConnections::wait_for_requests(std::chrono::steady_clock::time_point end) const {
    while (have_request()) {
        if (std::chrono::steady_clock::now() >= end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

void OpenConnections::abort() {
    for_each([](Connection* connection) { connection->break_off(); });
}

}  // namespace kx::information_model::opc
