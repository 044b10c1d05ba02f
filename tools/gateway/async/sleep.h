#pragma once

#include "gateway/async/Completion.h"
#include "gateway/async/EventLoop.h"

#include <chrono>

namespace gateway {

/// Completes with true after `delay`, or with what another sets it to before.
inline Completion<bool> sleep(EventLoop& loop, std::chrono::milliseconds delay) {
    Completion<bool> completion;
    loop.call_after(delay, [completion] { completion.set(true); });
    return completion;
}

}  // namespace gateway
