#include "FaultSchedule.h"

#include "Arguments.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <optional>
#include <random>
#include <sstream>

namespace plant {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds MADE_UP(600'000);
constexpr double LONGEST = 7 * 24 * 3600.0;  // s

constexpr std::array<std::pair<Fault::Kind, const char*>, 4> KINDS = {{{Fault::Kind::SENSOR, "sensor"},
                                                                       {Fault::Kind::JUMP, "jump"},
                                                                       {Fault::Kind::FREEZE, "freeze"},
                                                                       {Fault::Kind::DROP, "drop"}}};

/// An item with a sensor, and how far its value may jump.
struct Sensor {
    const char* item;
    int jump;
};

constexpr std::array<Sensor, 5> SENSORS = {{{"/boiler/temperature", 100},
                                            {"/boiler/pressure", 8},
                                            {"/boiler/level", 40},
                                            {"/feed_water/pump_speed", 900},
                                            {"/instruments/thermometer_1/reading", 300}}};

std::string get_name(Fault::Kind kind) {
    const auto* const found =
        std::find_if(KINDS.begin(), KINDS.end(), [=](const auto& entry) { return entry.first == kind; });
    return found->second;
}

/// Random numbers that are the same everywhere, which the distributions of the standard library are not.
class Dice {
public:
    explicit Dice(unsigned int seed) : engine_(seed) {}

    /// From 0 to `count` - 1.
    unsigned int roll(unsigned int count) { return static_cast<unsigned int>(engine_() % count); }

private:
    std::mt19937 engine_;
};

std::optional<double> parse_number(const std::string& text) {
    double number = 0;
    const char* const begin = text.data() + (text.starts_with('+') ? 1 : 0);
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(begin, end, number);
    return error == std::errc() && stop == end && std::isfinite(number) ? std::optional(number)
                                                                        : std::nullopt;
}

std::string to_text(double number) {
    std::array<char, 32> text;
    return {text.data(), std::to_chars(text.data(), text.data() + text.size(), number).ptr};
}

std::string to_seconds(milliseconds time) {
    return to_text(static_cast<double>(time.count()) / 1000);
}

bool has_item(Fault::Kind kind) {
    return kind == Fault::Kind::SENSOR || kind == Fault::Kind::JUMP;
}

/// One line of a file.
class Line {
public:
    Line(const std::string& name, int number, const std::string& text)
        : place_(name + ':' + std::to_string(number) + ": ") {
        std::istringstream stream(text);
        for (std::string word; stream >> word;) {
            words_.push_back(word);
        }
    }

    bool is_empty() const { return words_.empty() || words_.front().starts_with('#'); }

    /// The time behind "repeat"; nothing if the line is another one.
    std::optional<milliseconds> get_period() const {
        if (words_.front() != "repeat") {
            return std::nullopt;
        }
        if (words_.size() != 2) {
            fail("\"repeat\" takes one number of seconds");
        }
        return parse_time(words_[1]);
    }

    Fault get_fault() const {
        if (words_.size() < 3) {
            fail("a fault is BEGIN LENGTH, then sensor, jump, freeze or drop");
        }
        const auto* const kind = std::find_if(
            KINDS.begin(), KINDS.end(), [this](const auto& entry) { return entry.second == words_[2]; });
        if (kind == KINDS.end()) {
            fail("'" + words_[2] + "' is not one of sensor, jump, freeze and drop");
        }
        Fault fault{.begin = parse_time(words_[0]),
                    .length = parse_time(words_[1]),
                    .kind = kind->first,
                    .item = has_item(kind->first) && words_.size() > 3 ? words_[3] : "",
                    .by = 0};
        const std::size_t wanted = fault.kind == Fault::Kind::JUMP ? 5 : has_item(fault.kind) ? 4 : 3;
        if (words_.size() != wanted) {
            fail(fault.kind == Fault::Kind::JUMP ? "\"jump\" needs an item and a number"
                 : has_item(fault.kind)          ? "\"sensor\" needs an item"
                                                 : "\"" + words_[2] + "\" takes nothing else");
        }
        if (wanted == 5) {
            const auto by = parse_number(words_[4]);
            fault.by = by ? *by : fail("'" + words_[4] + "' is not a number");
        }
        return fault;
    }

private:
    [[noreturn]] double fail(const std::string& message) const { throw ArgumentError(place_ + message); }

    milliseconds parse_time(const std::string& word) const {
        const auto seconds = parse_number(word);
        if (!seconds || *seconds < 0 || *seconds > LONGEST) {
            fail("'" + word + "' is not a time in seconds, up to a week");
        }
        return milliseconds(std::llround(*seconds * 1000));
    }

    const std::string place_;
    std::vector<std::string> words_;
};

}  // namespace

FaultSchedule::FaultSchedule(unsigned int seed) : period_(MADE_UP) {
    Dice dice(seed);
    const auto roll_seconds = [&dice](unsigned int least, unsigned int more) {
        return milliseconds(1000) * (least + dice.roll(more));
    };
    for (milliseconds begin = roll_seconds(5, 6);; begin = faults_.back().get_end() + roll_seconds(4, 10)) {
        const Sensor& sensor = SENSORS.at(dice.roll(SENSORS.size()));
        const unsigned int choice = dice.roll(8);  // sensors fail more often than all else
        Fault fault{.begin = begin,
                    .length = roll_seconds(2, 8),
                    .kind = Fault::Kind::SENSOR,
                    .item = sensor.item,
                    .by = 0};
        if (choice >= 4) {
            fault.kind = choice < 6    ? Fault::Kind::JUMP
                         : choice == 6 ? Fault::Kind::FREEZE
                                       : Fault::Kind::DROP;
        }
        if (fault.kind == Fault::Kind::JUMP) {
            fault.by = (dice.roll(2) == 0 ? 1 : -1) * sensor.jump;
        }
        if (!has_item(fault.kind)) {
            fault.item.clear();
        }
        if (fault.get_end() > period_) {
            return;
        }
        faults_.push_back(fault);
    }
}

FaultSchedule::FaultSchedule(std::istream& stream, const std::string& name) {
    std::optional<milliseconds> period;
    int number = 0;
    for (std::string text; std::getline(stream, text);) {
        const Line line(name, ++number, text);
        if (line.is_empty()) {
            continue;
        }
        if (const auto found = line.get_period()) {
            period = found;
        } else {
            faults_.push_back(line.get_fault());
        }
    }
    for (const Fault& fault : faults_) {
        period_ = std::max(period_, fault.get_end());
    }
    period_ = period.value_or(period_);
    check(name);
}

void FaultSchedule::check(const std::string& name) const {
    if (faults_.empty()) {
        throw ArgumentError(name + " contains no faults");
    }
    if (period_ == std::chrono::milliseconds(0)) {
        throw ArgumentError(name + ": all faults have the length 0");
    }
    for (std::size_t i = 0; i < faults_.size(); ++i) {
        const Fault& fault = faults_[i];
        if (fault.get_end() > period_) {
            throw ArgumentError(name + ": '" + plant::describe(fault) +
                                "' ends after the time in \"repeat\"");
        }
        const bool overlaps = std::any_of(
            faults_.begin(), faults_.begin() + static_cast<std::ptrdiff_t>(i), [&](const Fault& earlier) {
                return !fault.item.empty() && earlier.item == fault.item && earlier.begin < fault.get_end() &&
                       fault.begin < earlier.get_end();
            });
        if (overlaps) {
            throw ArgumentError(name + ": two faults of '" + fault.item + "' overlap");
        }
    }
}

void FaultSchedule::print(std::ostream& stream) const {
    for (const Fault& fault : faults_) {
        stream << to_seconds(fault.begin) << ' ' << to_seconds(fault.length) << ' ' << plant::describe(fault)
               << '\n';
    }
    stream << "repeat " << to_seconds(period_) << '\n';
}

std::string describe(const Fault& fault) {
    std::string name = get_name(fault.kind);
    switch (fault.kind) {
        case Fault::Kind::SENSOR:
            return name + ' ' + fault.item;
        case Fault::Kind::JUMP:
            return name + ' ' + fault.item + ' ' + to_text(fault.by);
        default:
            return name;
    }
}

}  // namespace plant
