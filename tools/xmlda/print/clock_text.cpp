#include "xmlda/print/clock_text.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <ctime>

namespace xmlda {
namespace {

constexpr std::int64_t SECOND = 1'000'000'000;  // ns

struct Moment {
    std::time_t seconds = 0;
    std::string fraction;  // the digits behind the point
};

/// Seconds to the east of Greenwich; nothing if the text is no zone.
std::optional<long> parse_zone(const std::string& text) {
    if (text == "Z") {
        return 0;
    }
    unsigned int hours = 0;
    unsigned int minutes = 0;
    int size = 0;
    const bool has_sign = text.starts_with('+') || text.starts_with('-');
    if (!has_sign || std::sscanf(text.c_str() + 1, "%2u:%2u%n", &hours, &minutes, &size) != 2 ||
        static_cast<std::size_t>(size) + 1 != text.size()) {
        return std::nullopt;
    }
    const long offset = static_cast<long>(hours) * 3600 + static_cast<long>(minutes) * 60;
    return text.front() == '-' ? -offset : offset;
}

/// Takes the digits behind a point off the text, if there is one.
std::string take_fraction(std::string& text) {
    if (!text.starts_with('.')) {
        return "";
    }
    const std::size_t end = std::min(text.find_first_not_of("0123456789", 1), text.size());
    std::string fraction = text.substr(1, end - 1);
    text.erase(0, end);
    return fraction;
}

std::optional<Moment> parse(const std::string& text) {
    std::tm parts = {};
    const char* const end = ::strptime(text.c_str(), "%Y-%m-%dT%H:%M:%S", &parts);
    if (end == nullptr) {
        return std::nullopt;
    }
    std::string rest = end;
    Moment moment;
    moment.fraction = take_fraction(rest);
    const auto offset = parse_zone(rest);
    if (!offset) {
        return std::nullopt;
    }
    moment.seconds = ::timegm(&parts) - *offset;
    return moment;
}

std::optional<std::int64_t> to_nanoseconds(const Moment& moment) {
    constexpr std::int64_t MOST_SECONDS = INT64_MAX / SECOND - 1;
    if (moment.seconds < -MOST_SECONDS || moment.seconds > MOST_SECONDS) {
        return std::nullopt;
    }
    return moment.seconds * SECOND + std::stoll((moment.fraction + "000000000").substr(0, 9));
}

std::string format(const std::tm& parts, const char* pattern) {
    std::array<char, 64> text;
    return {text.data(), std::strftime(text.data(), text.size(), pattern, &parts)};
}

std::tm to_local(std::time_t seconds) {
    std::tm parts = {};
    ::localtime_r(&seconds, &parts);
    return parts;
}

}  // namespace

std::string to_local_time(const std::string& text) {
    const auto moment = parse(text);
    if (!moment) {
        return text;
    }
    const std::tm then = to_local(moment->seconds);
    const std::tm now = to_local(std::time(nullptr));
    const bool is_today = then.tm_year == now.tm_year && then.tm_yday == now.tm_yday;
    return format(then, is_today ? "%H:%M:%S." : "%Y-%m-%d %H:%M:%S.") +
           (moment->fraction + "000").substr(0, 3);
}

std::string to_utc(const std::string& text) {
    const auto moment = parse(text);
    if (!moment) {
        return text;
    }
    std::tm parts = {};
    ::gmtime_r(&moment->seconds, &parts);
    return format(parts, "%Y-%m-%dT%H:%M:%S") + (moment->fraction.empty() ? "" : '.' + moment->fraction) +
           'Z';
}

std::optional<std::int64_t> to_nanoseconds(const std::string& text) {
    const auto moment = parse(text);
    return moment ? to_nanoseconds(*moment) : std::nullopt;
}

std::string from_nanoseconds(std::int64_t time) {
    const std::int64_t fraction = ((time % SECOND) + SECOND) % SECOND;
    const std::time_t seconds = (time - fraction) / SECOND;
    std::tm parts = {};
    ::gmtime_r(&seconds, &parts);
    std::string digits = std::to_string(SECOND + fraction).substr(1);
    while (digits.ends_with("000")) {
        digits.resize(digits.size() - 3);
    }
    return format(parts, "%Y-%m-%dT%H:%M:%S") + (digits.empty() ? "" : '.' + digits) + 'Z';
}

std::optional<std::int64_t> parse_time(const std::string& text) {
    for (const char* const pattern :
         {"%Y-%m-%dT%H:%M:%S", "%Y-%m-%d %H:%M:%S", "%Y-%m-%dT%H:%M", "%Y-%m-%d %H:%M", "%Y-%m-%d"}) {
        std::tm parts = {};
        const char* const end = ::strptime(text.c_str(), pattern, &parts);
        if (end == nullptr) {
            continue;
        }
        std::string rest = end;
        Moment moment;
        moment.fraction = take_fraction(rest);
        const auto offset = parse_zone(rest);
        if (!rest.empty() && !offset) {
            continue;
        }
        parts.tm_isdst = -1;  // whatever it was then
        moment.seconds = offset ? ::timegm(&parts) - *offset : std::mktime(&parts);
        return to_nanoseconds(moment);
    }
    return std::nullopt;
}

std::string get_present_time() {
    using namespace std::chrono;
    const auto now = duration_cast<milliseconds>(system_clock::now().time_since_epoch());
    return from_nanoseconds(nanoseconds(now).count());
}

std::string get_clock() {
    return format(to_local(std::time(nullptr)), "%H:%M:%S");
}

}  // namespace xmlda
