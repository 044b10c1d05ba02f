#include "gateway/soap/times.h"

#include <array>
#include <cstdio>
#include <ctime>

namespace gateway {

using std::chrono::system_clock;

std::string to_date_time(system_clock::time_point time) {
    const auto whole = std::chrono::floor<std::chrono::seconds>(time);
    const auto part = std::chrono::floor<std::chrono::milliseconds>(time - whole).count();
    const std::time_t seconds = system_clock::to_time_t(whole);
    std::tm fields{};
    ::gmtime_r(&seconds, &fields);
    std::array<char, 64> text{};
    const std::size_t length = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &fields);
    std::array<char, 16> fraction{};
    std::snprintf(fraction.data(), fraction.size(), ".%03dZ", static_cast<int>(part));
    return std::string(text.data(), length) + fraction.data();
}

std::optional<system_clock::time_point> parse_date_time(const std::string& text) {
    int year = 0;
    unsigned month = 0;
    unsigned day = 0;
    int hour = 0;
    int minute = 0;
    double seconds = 0;
    int length = 0;
    constexpr int FIELDS = 6;
    if (text.size() > 64 || std::sscanf(text.c_str(), "%4d-%2u-%2uT%2d:%2d:%lf%n", &year, &month, &day, &hour,
                                        &minute, &seconds, &length) != FIELDS) {
        return std::nullopt;
    }
    const std::chrono::year_month_day date{std::chrono::year(year), std::chrono::month(month),
                                           std::chrono::day(day)};
    const bool is_valid = date.ok() && year >= 1970 && hour >= 0 && hour <= 24 && minute >= 0 &&
                          minute < 60 && seconds >= 0 && seconds < 61;
    const std::string zone = text.substr(static_cast<std::size_t>(length));
    int zone_hours = 0;
    int zone_minutes = 0;
    if (!zone.empty() && zone != "Z") {
        int zone_length = 0;
        if ((zone[0] != '+' && zone[0] != '-') ||
            std::sscanf(zone.c_str() + 1, "%2d:%2d%n", &zone_hours, &zone_minutes, &zone_length) != 2 ||
            zone.size() != static_cast<std::size_t>(zone_length) + 1) {
            return std::nullopt;
        }
        if (zone[0] == '-') {
            zone_hours = -zone_hours;
            zone_minutes = -zone_minutes;
        }
    }
    if (!is_valid) {
        return std::nullopt;
    }
    const auto fraction =
        std::chrono::duration_cast<system_clock::duration>(std::chrono::duration<double>(seconds));
    return std::chrono::sys_days(date) + std::chrono::hours(hour - zone_hours) +
           std::chrono::minutes(minute - zone_minutes) + fraction;
}

}  // namespace gateway
