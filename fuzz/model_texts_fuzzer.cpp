// Paths, dates and durations as texts: each reader beside one made of other parts, and each writer read back.
// An input is taken as a text by all of them; its first eight bytes are also a number of nanoseconds.

#include "require.h"

#include <information_model/Domain.h>
#include <information_model/Duration.h>
#include <information_model/InformationModel.h>
#include <information_model/Path.h>
#include <information_model/TimePoint.h>
#include <information_model/exceptions.h>

#include <Poco/TextIterator.h>
#include <Poco/UTF8Encoding.h>
#include <Poco/UTF8String.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <limits>
#include <optional>
#include <regex>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace kx::fuzz {

namespace {

using namespace information_model;

__extension__ using Wide = __int128;

constexpr Wide BILLION = 1'000'000'000;
constexpr Wide TOO_LARGE = Wide{100} * BILLION * BILLION;  // for any number in a text

std::optional<std::int64_t> narrow(Wide number) {
    if (number < std::numeric_limits<std::int64_t>::min() ||
        number > std::numeric_limits<std::int64_t>::max()) {
        return std::nullopt;
    }
    return static_cast<std::int64_t>(number);
}

Wide to_number(const std::string& digits) {
    Wide number = 0;
    for (const char digit : digits) {
        number = std::min(number * 10 + (digit - '0'), TOO_LARGE);
    }
    return number;
}

// Of ".25": 250,000,000.
Wide to_nanoseconds(const std::string& fraction) {
    std::string digits = fraction.empty() ? "" : fraction.substr(1, 9);
    digits.resize(9, '0');
    return to_number(digits);
}

/// Without the white space at its ends, as a request may have it.
std::string strip(const std::string& text) {
    constexpr const char* WHITE_SPACE = " \t\n\r";
    const std::size_t begin = text.find_first_not_of(WHITE_SPACE);
    return begin == std::string::npos ? ""
                                      : text.substr(begin, text.find_last_not_of(WHITE_SPACE) + 1 - begin);
}

/// Seconds since the epoch, with the C library; nothing if there is no such day.
std::optional<std::int64_t> get_day(const std::smatch& match) {
    std::tm fields{};
    fields.tm_year = std::stoi(match[1]) - 1900;
    fields.tm_mon = std::stoi(match[2]) - 1;
    fields.tm_mday = std::stoi(match[3]);
    std::tm normalised = fields;
    const std::time_t seconds = timegm(&normalised);
    const bool exists = normalised.tm_mon == fields.tm_mon && normalised.tm_mday == fields.tm_mday;
    return exists ? std::optional<std::int64_t>(seconds) : std::nullopt;
}

std::optional<std::int64_t> get_offset(const std::string& zone) {
    if (zone.empty() || zone == "Z") {
        return 0;
    }
    const int hours = std::stoi(zone.substr(1, 2));
    const int minutes = std::stoi(zone.substr(4, 2));
    if (minutes > 59 || hours * 60 + minutes > 14 * 60) {
        return std::nullopt;
    }
    return (zone[0] == '-' ? -60 : 60) * (hours * 60 + minutes);
}

std::optional<std::int64_t> read_time(const std::string& text) {
    static const std::regex FORM(R"(([0-9]{4})-([0-9]{2})-([0-9]{2})T([0-9]{2}):([0-9]{2}):([0-9]{2}))"
                                 R"((\.[0-9]+)?(Z|[+-][0-9]{2}:[0-9]{2})?)");
    std::smatch match;
    if (!std::regex_match(text, match, FORM) || match[1] == "0000") {
        return std::nullopt;
    }
    const auto day = get_day(match);
    const auto offset = get_offset(match[8]);
    const int hour = std::stoi(match[4]);
    const int minute = std::stoi(match[5]);
    const int second = std::stoi(match[6]);
    const Wide fraction = to_nanoseconds(match[7]);
    const bool has_fraction = match[7].str().find_first_of("123456789") != std::string::npos;
    const bool is_midnight = hour == 24 && minute == 0 && second == 0 && !has_fraction;
    if (!day || !offset || (hour > 23 && !is_midnight) || minute > 59 || second > 59) {
        return std::nullopt;
    }
    return narrow((Wide{*day} + hour * 3600 + minute * 60 + second - *offset) * BILLION + fraction);
}

std::optional<std::int64_t> read_duration(const std::string& text) {
    static const std::regex FORM(R"((-?)P(?:([0-9]+)Y)?(?:([0-9]+)M)?(?:([0-9]+)D)?)"
                                 R"((T(?:([0-9]+)H)?(?:([0-9]+)M)?(?:([0-9]+)(\.[0-9]+)?S)?)?)");
    std::smatch match;
    if (!std::regex_match(text, match, FORM) || text.ends_with('P') || text.ends_with('T')) {
        return std::nullopt;
    }
    const Wide seconds = to_number(match[2]) * 31'556'952 + to_number(match[3]) * 2'629'746 +
                         to_number(match[4]) * 86'400 + to_number(match[6]) * 3'600 +
                         to_number(match[7]) * 60 + to_number(match[8]);
    const Wide length = std::min(seconds, TOO_LARGE) * BILLION + to_nanoseconds(match[9]);
    return narrow(match[1].length() == 0 ? length : -length);
}

template <class Read>
std::optional<std::int64_t> try_read(Read read, const std::string& text) {
    try {
        return read(text);
    } catch (const std::invalid_argument&) {
        return std::nullopt;
    }
}

std::optional<std::int64_t> read_time_with_model(const std::string& text) {
    return try_read(
        [](const std::string& time) {
            return date_time_from_iso8601_string(time).time_since_epoch().count();
        },
        text);
}

std::optional<std::int64_t> read_duration_with_model(const std::string& text) {
    return try_read(
        [](const std::string& length) {
            return duration_from_iso8601_string(length).get_nanoseconds().count();
        },
        text);
}

// The C library's date and time, and the fraction in as many groups of three digits as it needs.
std::string write_time(std::int64_t nanoseconds) {
    auto fraction = nanoseconds % 1'000'000'000;
    fraction += fraction < 0 ? 1'000'000'000 : 0;
    const std::time_t seconds = nanoseconds / 1'000'000'000 - (nanoseconds % 1'000'000'000 < 0 ? 1 : 0);
    std::tm fields{};
    gmtime_r(&seconds, &fields);
    std::array<char, 64> buffer{};
    std::strftime(buffer.data(), buffer.size(), "%Y-%m-%dT%H:%M:%S", &fields);
    std::string text = buffer.data();
    if (fraction != 0) {
        std::snprintf(buffer.data(), buffer.size(), ".%09d", static_cast<int>(fraction));
        text += buffer.data();
        while (text.ends_with("000")) {
            text.resize(text.size() - 3);
        }
    }
    return text + "Z";
}

void check_times(const std::string& text, std::int64_t nanoseconds) {
    require(read_time_with_model(text) == read_time(strip(text)), "a time is read as it stands", text);
    const std::string written = to_iso8601_string(TimePoint(std::chrono::nanoseconds(nanoseconds)));
    require(written == write_time(nanoseconds), "a time is written as the C library does it", written);
    require(read_time_with_model(written) == nanoseconds, "a time is read back", written);
}

void check_durations(const std::string& text, std::int64_t nanoseconds) {
    require(read_duration_with_model(text) == read_duration(strip(text)), "a duration is read as it stands",
            text);
    const std::string written = to_iso8601_string(Duration(std::chrono::nanoseconds(nanoseconds)));
    require(read_duration_with_model(written) == nanoseconds, "a duration is read back", written);
    require(read_duration(written) == nanoseconds, "a duration is written as others read it", written);
}

std::vector<std::string> split(const std::string& path) {
    std::vector<std::string> segments;
    std::size_t begin = 0;
    for (std::size_t end = 0; end != std::string::npos; begin = end + 1) {
        end = path.find('/', begin);
        segments.push_back(path.substr(begin, end - begin));
    }
    return segments;
}

bool is_segment(const std::string& text) {
    static const Poco::UTF8Encoding UTF8;
    if (text.empty() || text == "." || text == "..") {
        return false;
    }
    for (std::size_t index = 0; index < text.size();) {
        const auto* const bytes = reinterpret_cast<const unsigned char*>(text.data() + index);
        const int character =
            UTF8.queryConvert(bytes, static_cast<int>(std::min<std::size_t>(4, text.size() - index)));
        const bool is_control = character < 0x20 || (character >= 0x7F && character < 0xA0);
        const int length = character < 0x80 ? 1 : character < 0x800 ? 2 : character < 0x10000 ? 3 : 4;
        if (is_control || !Poco::UTF8Encoding::isLegal(bytes, length)) {
            return false;
        }
        index += static_cast<std::size_t>(length);
    }
    return true;
}

/// The segments to walk from the root, nothing if the text is no path.
std::optional<std::vector<std::string>> read_path(const std::string& text) {
    if (text == "/" || text == ".") {
        return std::vector<std::string>();
    }
    std::vector<std::string> segments = split(text);
    if (segments.size() > 1 && (segments.front().empty() || segments.front() == ".")) {
        segments.erase(segments.begin());
    }
    if (!std::all_of(segments.begin(), segments.end(), is_segment)) {
        return std::nullopt;
    }
    return segments;
}

const Item* walk(const Domain& root, const std::vector<std::string>& segments) {
    const Item* item = &root;
    for (const std::string& segment : segments) {
        const auto* const domain = dynamic_cast<const Domain*>(item);
        item = nullptr;
        if (domain == nullptr) {
            return nullptr;
        }
        for (const auto& child : domain->get_children()) {
            if (child->get_name().as_string() == segment) {
                item = static_cast<const Item*>(child.get());
            }
        }
    }
    return item;
}

InformationModel& get_model() {
    static InformationModel model("fuzz");
    static const bool IS_BUILT = [] {
        Domain& domain = model.get_root().add_domain("a");
        domain.add_domain("b").add_variable("c", Value(1));
        domain.add_variable("\xC3\xA4", Value(1));
        model.get_root().add_variable(" ", Value(1));
        model.get_root().add_domain("...").add_domain("a");
        return true;
    }();
    static_cast<void>(IS_BUILT);
    return model;
}

const Item* find(const Domain& root, const Path& path) {
    try {
        return &root.get_item(path, false);
    } catch (const PathNotFoundException&) {
        return nullptr;
    }
}

void check_paths(const std::string& text) {
    const auto segments = read_path(text);
    require(is_valid_segment(text) == (text.find('/') == std::string::npos && is_segment(text)),
            "a segment is one, or not", text);
    try {
        const Path path(text);
        require(segments.has_value(), "what is no path is refused", text);
        require(path.as_string() == text, "a path keeps its text", text);
        const Domain& root = get_model().get_root();
        require(find(root, path) == walk(root, *segments), "a path finds what stands there", text);
    } catch (const InvalidPathException&) {
        require(!segments.has_value(), "a path is taken", text);
    }
}

}  // namespace

}  // namespace kx::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    std::int64_t nanoseconds = 0;
    std::memcpy(&nanoseconds, data, std::min(size, sizeof nanoseconds));
    kx::fuzz::check_times(text, nanoseconds);
    kx::fuzz::check_durations(text, nanoseconds);
    kx::fuzz::check_paths(text);
    return 0;
}
