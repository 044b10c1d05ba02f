#pragma once

#include "gateway/async/EventLoop.h"

#include <algorithm>
#include <chrono>
#include <deque>
#include <functional>
#include <map>
#include <utility>

namespace gateway {

/// Time that passes when a test says so.
class ManualLoop : public EventLoop {
public:
    void post(std::function<void()> callback) override { posted_.push_back(std::move(callback)); }

    TimerId call_after(std::chrono::milliseconds delay, std::function<void()> callback) override {
        timers_.emplace(++last_, Timer{now_ + delay, std::move(callback)});
        return last_;
    }

    void cancel(TimerId timer) override { timers_.erase(timer); }

    std::chrono::steady_clock::time_point get_time() const override { return now_; }

    void run_posted() {
        while (!posted_.empty()) {
            const auto callback = std::move(posted_.front());
            posted_.pop_front();
            callback();
        }
    }

    void pass(std::chrono::milliseconds time) {
        const auto end = now_ + time;
        run_posted();
        for (auto next = find_next(end); next != timers_.end(); next = find_next(end)) {
            now_ = next->second.time;
            const auto callback = std::move(next->second.callback);
            timers_.erase(next);
            callback();
            run_posted();
        }
        now_ = end;
    }

private:
    struct Timer {
        std::chrono::steady_clock::time_point time;
        std::function<void()> callback;
    };

    std::map<TimerId, Timer>::iterator find_next(std::chrono::steady_clock::time_point end) {
        const auto next = std::min_element(
            timers_.begin(), timers_.end(),
            [](const auto& left, const auto& right) { return left.second.time < right.second.time; });
        return next != timers_.end() && next->second.time <= end ? next : timers_.end();
    }

    std::chrono::steady_clock::time_point now_{std::chrono::hours(1)};
    TimerId last_ = 0;
    std::map<TimerId, Timer> timers_;
    std::deque<std::function<void()>> posted_;
};

}  // namespace gateway
