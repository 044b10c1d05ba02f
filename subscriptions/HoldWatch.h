#pragma once

#include <ctime>

namespace kx::information_model::opc {

/// Waits for a poll that is held, and knows when nobody waits for its answer any more.
class HoldWatch {
public:
    HoldWatch() = default;
    HoldWatch(const HoldWatch&) = delete;
    HoldWatch& operator=(const HoldWatch&) = delete;
    virtual ~HoldWatch() = default;

    /// Blocks the calling thread for this time, or until a signal is handled.
    /// @return whether the hold is over before its time: the client has left, or the server ends
    virtual bool hold_for(const timespec& duration) = 0;
};

}  // namespace kx::information_model::opc
