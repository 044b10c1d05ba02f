#pragma once

#include <algorithm>
#include <ctime>
#include <limits>

namespace kx::information_model::opc::testing {

/// The processor time that `action` takes on this thread, in seconds: the least of three runs. What else the
/// machine does meanwhile does not count.
template <class Action>
double measure_processor_time(Action action) {
    const auto read_clock = [] {
        timespec time{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
        return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
    };
    double least = std::numeric_limits<double>::max();
    for (int run = 0; run < 3; ++run) {
        const double start = read_clock();
        action();
        least = std::min(least, read_clock() - start);
    }
    return least;
}

}  // namespace kx::information_model::opc::testing
