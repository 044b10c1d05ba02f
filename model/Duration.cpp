#include <information_model/Duration.h>

#include <charconv>
#include <cstdint>
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

/// Reads the components of a duration, each of which may stand once and only in the order of its calls.
class ComponentReader {
public:
    explicit ComponentReader(detail::TextReader& reader) : reader_(reader) { read_number(); }

    /// Takes the number that is due if `designator` follows it, and reads the next one.
    bool read(char designator, std::uint64_t unit) {
        if (!has_number_ || !reader_.skip(designator)) {
            return true;
        }
        ++count_;
        const bool fits = number_ && add(sum_, *number_, unit);
        read_number();
        return fits;
    }

    /// As `read`, for seconds, which alone may have a fraction.
    bool read_seconds() {
        const auto fraction = has_number_ ? reader_.take_fraction() : std::nullopt;
        if (fraction && !add(sum_, static_cast<std::uint64_t>(fraction->nanoseconds), 1)) {
            return false;
        }
        const int count_before = count_;
        return read('S', SECOND) && (!fraction || count_ > count_before);
    }

    /// Begins the time part; it needs a component of its own.
    void begin_part() {
        count_ = 0;
        read_number();
    }

    bool has_number() const { return has_number_; }
    bool has_components() const { return count_ > 0; }
    std::uint64_t get_sum() const { return sum_; }

private:
    void read_number() {
        const std::string_view digits = reader_.take_digits();
        has_number_ = !digits.empty();
        number_ = detail::to_number(digits);
    }

    detail::TextReader& reader_;
    bool has_number_ = false;
    std::optional<std::uint64_t> number_;
    int count_ = 0;
    std::uint64_t sum_ = 0;
};

/// Reads what follows "P"; nothing if it is malformed or does not fit.
std::optional<std::uint64_t> read_magnitude(detail::TextReader& reader) {
    ComponentReader components(reader);
    if (!components.read('Y', YEAR) || !components.read('M', MONTH) || !components.read('D', DAY) ||
        components.has_number()) {
        return std::nullopt;
    }
    if (reader.skip('T')) {
        components.begin_part();
        if (!components.read('H', HOUR) || !components.read('M', MINUTE) || !components.read_seconds() ||
            components.has_number()) {
            return std::nullopt;
        }
    }
    if (!components.has_components() || !reader.is_at_end()) {
        return std::nullopt;
    }
    return components.get_sum();
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
