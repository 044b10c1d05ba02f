#include "Alarms.h"

#include "refresh.h"

#include <chrono>

namespace plant {
namespace {

using namespace kx::information_model;
using std::chrono::sys_days;
using namespace std::chrono_literals;

constexpr std::size_t REMEMBERED = 5;
constexpr double LOW_LEVEL = 58.5;   // %
constexpr double HIGH_LEVEL = 61.5;  // %

const TimePoint COMMISSIONED = sys_days(2026y / 3 / 2) + 8h;

Domain& add_alarms(Domain& root) {
    return root.add_domain(
        "alarms", {.description = "Active and latest alarms", .pattern_type = pattern_type::ALARM_MONITOR});
}

AbsolutePath get_document(const std::string& name) {
    return AbsolutePath("documents.example", "manuals", "/boiler/" + name);
}

/// Puts `newest` in front and forgets the oldest.
template <class T>
std::vector<T> remember(std::vector<T> latest, T newest) {
    latest.insert(latest.begin(), std::move(newest));
    if (latest.size() > REMEMBERED) {
        latest.pop_back();
    }
    return latest;
}

}  // namespace

struct Alarms::Alarm {
    std::string text;
    std::string source;
    std::string document;
};

Alarms::Alarms(Domain& root)
    : domain_(add_alarms(root)),
      text_(domain_.add<std::string>("text", "no alarm",
                                     {.description = "The active alarm",
                                      .writable = false,
                                      .history_kind = symbol_list::HISTORY_KIND::HISTORY_AVAILABLE})),
      latest_texts_(domain_.add<std::vector<std::string>>(
          "latest_texts", {"commissioned"}, {.description = "The latest five alarms, newest first"})),
      raised_at_(domain_.add<TimePoint>("raised_at", COMMISSIONED,
                                        {.description = "When the active alarm came or the last one went"})),
      latest_times_(domain_.add<std::vector<TimePoint>>("latest_times", {COMMISSIONED},
                                                        {.description = "When the latest five came"})),
      source_(domain_.add<Path>("source", Path("/"), {.description = "The item that the alarm is about"})),
      document_(domain_.add<AbsolutePath>("document", get_document("overview"),
                                          {.description = "Where to read what to do"})),
      horn_(domain_.add<bool>(
          "horn", false,
          {.description = "Sounds from each alarm until it is switched off", .writable = true})) {
    domain_.add<std::vector<Path>>("watched", {Path("/boiler/level"), Path("/turbine/state")},
                                   {.description = "The items that raise alarms", .writable = true});
    domain_.add<std::vector<AbsolutePath>>(
        "documents", {get_document("overview"), get_document("level"), get_document("trip")},
        {.description = "All there is to read"});
}

void Alarms::advance(double drum_level, TURBINE_STATE turbine_state) {
    const Alarm alarm = find_alarm(drum_level, turbine_state);
    if (alarm.text != text_.get()) {
        raise(alarm);
    }
}

Alarms::Alarm Alarms::find_alarm(double drum_level, TURBINE_STATE turbine_state) {
    if (turbine_state == TURBINE_STATE::TRIPPED) {
        return {"turbine tripped", "/turbine/state", "trip"};
    }
    if (drum_level < LOW_LEVEL) {
        return {"drum level low", "/boiler/level", "level"};
    }
    if (drum_level > HIGH_LEVEL) {
        return {"drum level high", "/boiler/level", "level"};
    }
    return {"no alarm", "/", "overview"};
}

void Alarms::raise(const Alarm& alarm) {
    const TimePoint now = std::chrono::system_clock::now();
    refresh(text_, alarm.text);
    refresh(raised_at_, now);
    refresh(source_, Path(alarm.source));
    refresh(document_, get_document(alarm.document));
    if (alarm.text != "no alarm") {
        refresh(horn_, true);
        refresh(latest_texts_, remember(latest_texts_.get(), alarm.text));
        refresh(latest_times_, remember(latest_times_.get(), now));
    }
}

}  // namespace plant
