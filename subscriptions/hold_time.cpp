#include "subscriptions/hold_time.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>

namespace kx::information_model::opc {

namespace {

class PlainSleep : public HoldWatch {
public:
    bool hold_for(const timespec& duration) override {
        nanosleep(&duration, nullptr);
        return false;
    }
};

// A time point reaches back into this year.
constexpr int FIRST_YEAR = 1677;
// The calendar repeats itself after so many years.
constexpr int CALENDAR_PERIOD = 400;

/// The same time in a year that has the same calendar and of which there are time points.
/// @return nothing if the text does not begin with a year up to the first one
std::optional<std::string> move_early_year(std::string text) {
    const std::size_t begin = std::min(text.find_first_not_of(" \t\n\r"), text.size());
    const bool is_before_christ = begin < text.size() && text[begin] == '-';
    const std::size_t digits = begin + (is_before_christ ? 1 : 0);
    const std::size_t end = std::min(text.find_first_not_of("0123456789", digits), text.size());
    const std::size_t count = end - digits;
    if (count < 4 || (count > 4 && (!is_before_christ || text[digits] == '0'))) {
        return std::nullopt;
    }
    const int last_digits = std::stoi(text.substr(end - 4, 4));  // 10,000 years are whole periods
    if ((last_digits == 0 && count == 4) || (!is_before_christ && last_digits > FIRST_YEAR)) {
        return std::nullopt;
    }
    // The year before the year 1 is the year -1, but counts as 0 for the calendar.
    const int year = is_before_christ ? 1 - last_digits : last_digits;
    const int distance = (year - 1700) % CALENDAR_PERIOD;
    return text.replace(begin, end - begin,
                        std::to_string(1700 + distance + (distance < 0 ? CALENDAR_PERIOD : 0)));
}

}  // namespace

TimePoint read_hold_time(const std::string& text) {
    try {
        return date_time_from_iso8601_string(text);
    } catch (const std::invalid_argument&) {
        const auto moved = move_early_year(text);
        if (!moved) {
            throw;
        }
        date_time_from_iso8601_string(*moved);  // throws if anything else is wrong with it
        return TimePoint::min();
    }
}

timespec get_distance(TimePoint from, TimePoint to) noexcept {
    constexpr std::uint64_t NANOSECONDS_PER_SECOND = 1'000'000'000;
    constexpr auto LONGEST = static_cast<std::uint64_t>(std::numeric_limits<std::time_t>::max());
    // Unsigned, because the distance need not fit into a signed number.
    const std::uint64_t nanoseconds = static_cast<std::uint64_t>(to.time_since_epoch().count()) -
                                      static_cast<std::uint64_t>(from.time_since_epoch().count());
    timespec distance{};
    distance.tv_sec = static_cast<std::time_t>(std::min(nanoseconds / NANOSECONDS_PER_SECOND, LONGEST));
    distance.tv_nsec = static_cast<long>(nanoseconds % NANOSECONDS_PER_SECOND);
    return distance;
}

bool hold_until(TimePoint hold_time, HoldWatch* watch) {
    PlainSleep sleep;
    HoldWatch& waiting = watch == nullptr ? sleep : *watch;
    // More than one round when a signal is handled, or the clock is set back meanwhile.
    for (TimePoint now = std::chrono::system_clock::now(); now < hold_time;
         now = std::chrono::system_clock::now()) {
        if (waiting.hold_for(get_distance(now, hold_time))) {
            return false;
        }
    }
    return true;
}

}  // namespace kx::information_model::opc
