#include <information_model/Duration.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <iterator>
#include <limits>
#include <optional>
#include <stdexcept>

#include "model/TextReader.h"
#include "model/quoted_text.h"

namespace kx::information_model {

namespace {

constexpr std::uint64_t SECOND = 1'000'000'000;  // in nanoseconds, as all the others
constexpr std::uint64_t MINUTE = 60 * SECOND;
constexpr std::uint64_t HOUR = 60 * MINUTE;
constexpr std::uint64_t DAY = 24 * HOUR;
constexpr std::uint64_t MONTH =
    static_cast<std::uint64_t>(std::chrono::seconds(std::chrono::months(1)).count()) * SECOND;
constexpr std::uint64_t YEAR =
    static_cast<std::uint64_t>(std::chrono::seconds(std::chrono::years(1)).count()) * SECOND;

void append_number(std::string& text, std::uint64_t number) {
    char digits[20];
    const auto result = std::to_chars(std::begin(digits), std::end(digits), number);
    text.append(digits, result.ptr);
}

/// Writes `number` and `designator`, or nothing for 0.
void append_component(std::string& text, std::uint64_t number, char designator) {
    if (number != 0) {
        append_number(text, number);
        text += designator;
    }
}

/// Writes the seconds with as many fraction digits as they need.
void append_seconds(std::string& text, std::uint64_t nanoseconds) {
    append_number(text, nanoseconds / SECOND);
    std::uint64_t fraction = nanoseconds % SECOND;
    if (fraction != 0) {
        text += '.';
    }
    for (std::uint64_t digit = SECOND / 10; fraction != 0; digit /= 10) {
        text += static_cast<char>('0' + fraction / digit);
        fraction %= digit;
    }
    text += 'S';
}

/// The nanoseconds without their sign; 2 to the power of 63 for the shortest duration of all.
std::uint64_t get_magnitude(Duration duration) {
    const auto bits = static_cast<std::uint64_t>(duration.get_nanoseconds().count());
    return duration < Duration() ? 0 - bits : bits;
}

/// Adds `number` times `unit` to a sum; false if it does not fit.
bool add(std::uint64_t& sum, std::uint64_t number, std::uint64_t unit) {
    std::uint64_t product = 0;
    return !__builtin_mul_overflow(number, unit, &product) && !__builtin_add_overflow(sum, product, &sum);
}

/// A component of a duration: a number with a letter behind it.
struct Component {
    char designator;
    std::uint64_t unit;
    bool is_time;  ///< whether it stands behind "T"
};

/// Each may stand once, and only in this order. The last one alone may have a fraction.
constexpr Component COMPONENTS[] = {{'Y', YEAR, false}, {'M', MONTH, false}, {'D', DAY, false},
                                    {'H', HOUR, true},  {'M', MINUTE, true}, {'S', SECOND, true}};

/// Takes the letter of a component of the part that is being read, one that lies behind those before.
/// @return the end of the table if there is none
const Component* take_designator(detail::TextReader& reader, const Component* component, bool is_time) {
    return std::find_if(component, std::end(COMPONENTS), [&](const Component& candidate) {
        return candidate.is_time == is_time && reader.skip(candidate.designator);
    });
}

/// Reads what follows "P"; nothing if it is malformed or does not fit.
std::optional<std::uint64_t> read_magnitude(detail::TextReader& reader) {
    std::uint64_t sum = 0;
    bool is_time = false;
    bool is_complete = false;  // the date needs a component, unless there is a time; and so does the time
    const Component* next = std::begin(COMPONENTS);
    while (!reader.is_at_end()) {
        if (!is_time && reader.skip('T')) {
            is_time = true;
            is_complete = false;
            continue;
        }
        const std::string_view digits = reader.take_digits();
        const auto number = detail::to_number(digits);
        const auto fraction = reader.take_fraction();
        const Component* const component = take_designator(reader, next, is_time);
        if (digits.empty() || component == std::end(COMPONENTS) || (fraction && component->unit != SECOND) ||
            !number || !add(sum, *number, component->unit) ||
            (fraction && !add(sum, static_cast<std::uint64_t>(fraction->nanoseconds), 1))) {
            return std::nullopt;
        }
        is_complete = true;
        next = component + 1;
    }
    return is_complete ? std::optional(sum) : std::nullopt;
}

std::optional<std::int64_t> read_nanoseconds(std::string_view text) {
    constexpr auto MAX = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    detail::TextReader reader(detail::trim(text));
    const bool is_negative = reader.skip('-');
    if (!reader.skip('P')) {
        return std::nullopt;
    }
    const auto magnitude = read_magnitude(reader);
    if (!magnitude || *magnitude > MAX + (is_negative ? 1 : 0)) {
        return std::nullopt;
    }
    return static_cast<std::int64_t>(is_negative ? 0 - *magnitude : *magnitude);
}

}  // namespace

std::string to_iso8601_string(Duration duration) {
    const std::uint64_t magnitude = get_magnitude(duration);
    std::string text = duration < Duration() ? "-P" : "P";
    append_component(text, magnitude / DAY, 'D');
    const std::uint64_t time = magnitude % DAY;
    if (time == 0 && magnitude != 0) {
        return text;
    }
    text += 'T';
    append_component(text, time / HOUR, 'H');
    append_component(text, time % HOUR / MINUTE, 'M');
    if (time % MINUTE != 0 || magnitude == 0) {
        append_seconds(text, time % MINUTE);
    }
    return text;
}

Duration duration_from_iso8601_string(const std::string& text) {
    const auto nanoseconds = read_nanoseconds(text);
    if (!nanoseconds) {
        throw std::invalid_argument("Invalid duration: " + detail::quoted_text(text));
    }
    return Duration(std::chrono::nanoseconds(*nanoseconds));
}

}  // namespace kx::information_model
