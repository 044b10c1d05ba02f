#include "xmlda/print/clock_text.h"

#include <array>
#include <cstdio>
#include <ctime>
#include <optional>

namespace xmlda {
namespace {

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

std::optional<Moment> parse(const std::string& text) {
    std::tm parts = {};
    const char* const end = ::strptime(text.c_str(), "%Y-%m-%dT%H:%M:%S", &parts);
    if (end == nullptr) {
        return std::nullopt;
    }
    std::string rest = end;
    Moment moment;
    if (rest.starts_with('.')) {
        const std::size_t size = rest.find_first_not_of("0123456789", 1);
        moment.fraction = rest.substr(1, size == std::string::npos ? size : size - 1);
        rest = size == std::string::npos ? "" : rest.substr(size);
    }
    const auto offset = parse_zone(rest);
    if (!offset) {
        return std::nullopt;
    }
    moment.seconds = ::timegm(&parts) - *offset;
    return moment;
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

std::string get_clock() {
    return format(to_local(std::time(nullptr)), "%H:%M:%S");
}

}  // namespace xmlda
