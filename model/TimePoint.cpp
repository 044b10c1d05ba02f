#include <information_model/TimePoint.h>

#include <array>
#include <cstdint>
#include <stdexcept>

#include "model/TextReader.h"
#include "model/quoted_text.h"

namespace kx::information_model {

namespace {

constexpr std::int64_t NANOSECONDS_PER_SECOND = 1'000'000'000;
constexpr std::int64_t SECONDS_PER_DAY = 86'400;

/// Quotient and remainder of a division that rounds down, so that the remainder is never negative.
struct Division {
    std::int64_t quotient;
    std::int64_t remainder;
};

constexpr Division divide(std::int64_t dividend, std::int64_t divisor) noexcept {
    const Division division{dividend / divisor, dividend % divisor};
    return division.remainder < 0 ? Division{division.quotient - 1, division.remainder + divisor} : division;
}

/// The parts of a time as they stand in a text.
struct Fields {
    std::int64_t year = 0;
    std::int64_t month = 0;
    std::int64_t day = 0;
    std::int64_t hour = 0;
    std::int64_t minute = 0;
    std::int64_t second = 0;
    std::int64_t nanosecond = 0;
    std::int64_t offset_minutes = 0;
};

/// Puts the digits of a number behind each other, with leading zeros.
/// @return the end
char* write_number(char* text, std::uint64_t number, std::size_t width) {
    for (std::size_t i = width; i-- > 0; number /= 10) {
        text[i] = static_cast<char>('0' + number % 10);
    }
    return text + width;
}

/// Writes the shortest of 0, 3, 6 and 9 digits that loses nothing.
char* write_fraction(char* text, std::uint64_t nanosecond) {
    if (nanosecond == 0) {
        return text;
    }
    *text++ = '.';
    if (nanosecond % 1'000'000 == 0) {
        return write_number(text, nanosecond / 1'000'000, 3);
    }
    if (nanosecond % 1'000 == 0) {
        return write_number(text, nanosecond / 1'000, 6);
    }
    return write_number(text, nanosecond, 9);
}

char* write_date(char* text, std::int64_t days_since_epoch) {
    const std::chrono::year_month_day date(
        std::chrono::sys_days(std::chrono::days(static_cast<int>(days_since_epoch))));
    text = write_number(text, static_cast<std::uint64_t>(static_cast<int>(date.year())), 4);
    *text++ = '-';
    text = write_number(text, static_cast<unsigned int>(date.month()), 2);
    *text++ = '-';
    return write_number(text, static_cast<unsigned int>(date.day()), 2);
}

/// Takes the year. It has at least four digits, and no leading zeros when it has more; there is no year 0000.
bool read_year(detail::TextReader& reader, Fields& fields) {
    const bool is_negative = reader.skip('-');
    const std::string_view digits = reader.take_digits();
    if (digits.size() < 4 || digits == "0000" || (digits.size() > 4 && digits.front() == '0')) {
        return false;
    }
    // A time point reaches from 1677 to 2262, so that no other year needs its number.
    if (digits.size() > 4 || is_negative) {
        return false;
    }
    fields.year = static_cast<std::int64_t>(*detail::to_number(digits));
    return true;
}

/// Takes a number of two digits if it is at most `limit`.
bool read_two_digits(detail::TextReader& reader, std::int64_t& number, std::int64_t limit) {
    number = reader.take_number(2).value_or(limit + 1);
    return number <= limit;
}

bool read_date(detail::TextReader& reader, Fields& fields) {
    if (!read_year(reader, fields) || !reader.skip('-') || !read_two_digits(reader, fields.month, 12) ||
        !reader.skip('-') || !read_two_digits(reader, fields.day, 31)) {
        return false;
    }
    return std::chrono::year_month_day(std::chrono::year(static_cast<int>(fields.year)),
                                       std::chrono::month(static_cast<unsigned int>(fields.month)),
                                       std::chrono::day(static_cast<unsigned int>(fields.day)))
        .ok();
}

bool read_time(detail::TextReader& reader, Fields& fields) {
    if (!read_two_digits(reader, fields.hour, 24) || !reader.skip(':') ||
        !read_two_digits(reader, fields.minute, 59) || !reader.skip(':') ||
        !read_two_digits(reader, fields.second, 59)) {
        return false;
    }
    const detail::Fraction fraction = reader.take_fraction().value_or(detail::Fraction{0, true});
    fields.nanosecond = fraction.nanoseconds;
    return fields.hour < 24 || (fields.minute == 0 && fields.second == 0 && fraction.is_zero);
}

/// Takes "Z", a numeric offset, or nothing.
bool read_zone(detail::TextReader& reader, Fields& fields) {
    if (reader.skip('Z') || reader.is_at_end()) {
        return true;
    }
    const bool is_west = reader.skip('-');
    if (!is_west && !reader.skip('+')) {
        return false;
    }
    std::int64_t hours = 0;
    std::int64_t minutes = 0;
    if (!read_two_digits(reader, hours, 14) || !reader.skip(':') || !read_two_digits(reader, minutes, 59)) {
        return false;
    }
    fields.offset_minutes = (hours * 60 + minutes) * (is_west ? -1 : 1);
    return hours < 14 || minutes == 0;
}

bool read_fields(std::string_view text, Fields& fields) {
    detail::TextReader reader(detail::trim(text));
    return read_date(reader, fields) && reader.skip('T') && read_time(reader, fields) &&
           read_zone(reader, fields) && reader.is_at_end();
}

std::int64_t get_seconds(const Fields& fields) {
    const std::chrono::sys_days date(
        std::chrono::year_month_day(std::chrono::year(static_cast<int>(fields.year)),
                                    std::chrono::month(static_cast<unsigned int>(fields.month)),
                                    std::chrono::day(static_cast<unsigned int>(fields.day))));
    const std::int64_t minutes = fields.hour * 60 + fields.minute - fields.offset_minutes;
    return std::int64_t{date.time_since_epoch().count()} * SECONDS_PER_DAY + minutes * 60 + fields.second;
}

/// Puts whole seconds and the nanoseconds after them together; false if the sum does not fit.
bool combine(std::int64_t seconds, std::int64_t nanosecond, std::int64_t& result) {
    // Towards zero first: the whole seconds of the earliest time points would not fit alone.
    if (seconds < 0 && nanosecond > 0) {
        ++seconds;
        nanosecond -= NANOSECONDS_PER_SECOND;
    }
    return !__builtin_mul_overflow(seconds, NANOSECONDS_PER_SECOND, &result) &&
           !__builtin_add_overflow(result, nanosecond, &result);
}

}  // namespace

std::string to_iso8601_string(TimePoint time) {
    const Division since_epoch = divide(time.time_since_epoch().count(), NANOSECONDS_PER_SECOND);
    const Division days = divide(since_epoch.quotient, SECONDS_PER_DAY);
    const auto second_of_day = static_cast<std::uint64_t>(days.remainder);
    std::array<char, 30> text;  // as in "2026-11-21T10:11:12.123456789Z"; no time point needs more
    char* end = write_date(text.data(), days.quotient);
    *end++ = 'T';
    end = write_number(end, second_of_day / 3600, 2);
    *end++ = ':';
    end = write_number(end, second_of_day / 60 % 60, 2);
    *end++ = ':';
    end = write_number(end, second_of_day % 60, 2);
    end = write_fraction(end, static_cast<std::uint64_t>(since_epoch.remainder));
    *end++ = 'Z';
    return {text.data(), end};
}

TimePoint date_time_from_iso8601_string(const std::string& text) {
    Fields fields;
    std::int64_t nanoseconds = 0;
    if (!read_fields(text, fields) || !combine(get_seconds(fields), fields.nanosecond, nanoseconds)) {
        throw std::invalid_argument("Invalid date and time: " + detail::quoted_text(text));
    }
    return TimePoint(std::chrono::nanoseconds(nanoseconds));
}

}  // namespace kx::information_model
