#include "FeedWater.h"

#include "refresh.h"

#include <information_model/guards.h>

#include <algorithm>
#include <cmath>

namespace plant {
namespace {

using namespace kx::information_model;

constexpr double FLOW_PER_PERCENT = 0.2;      // kg/s
constexpr double LEVEL_TO_BE_KEPT = 60.0;     // %
constexpr double REST_POSITION = 48.0;        // %, about what a drum at 180 degC takes
constexpr double GAIN = 5.0;                  // % of the valve for each % of level
constexpr unsigned short RATED_SPEED = 1450;  // 1/min

Domain& add_feed_water(Domain& root) {
    return root.add_domain(
        "feed_water", {.description = "Feed water supply", .pattern_type = pattern_type::CONTROL_FUNCTION});
}

/// Both pumps run while the valve is wide open, and one otherwise.
std::vector<unsigned short> get_pump_speeds(int position, std::chrono::duration<double> elapsed) {
    const auto speed = static_cast<unsigned short>(RATED_SPEED + 3.0 * std::sin(elapsed.count()));
    return {speed, position > 50 ? speed : static_cast<unsigned short>(0)};
}

}  // namespace

FeedWater::FeedWater(Domain& root)
    : domain_(add_feed_water(root)),
      valve_position_(
          domain_.add<unsigned char>("valve_position", static_cast<unsigned char>(48),
                                     {.description = "Where the valve stands",
                                      .writable = false,
                                      .engineering_unit = "%",
                                      .range = {.lower = Value(static_cast<unsigned char>(0)),
                                                .upper = Value(static_cast<unsigned char>(100))},
                                      .delta = Value(static_cast<unsigned char>(1)),
                                      .history_kind = symbol_list::HISTORY_KIND::HISTORY_SUGGESTED})),
      valve_setpoint_(domain_.add<unsigned char>(
          "valve_setpoint", static_cast<unsigned char>(48),
          {.description = "Where the valve shall stand; kept while the mode is manual",
           .writable = true,
           .engineering_unit = "%",
           .range = {.lower = Value(static_cast<unsigned char>(0)),
                     .upper = Value(static_cast<unsigned char>(100))},
           .accept = clamp_to_range})),
      branch_positions_(domain_.add<std::vector<unsigned char>>(
          "branch_positions", {48, 52, 200},
          {.description = "Raw positions of the three branch valves, 0 to 255", .writable = true})),
      trim_(domain_.add<signed char>("trim", static_cast<signed char>(-2),
                                     {.description = "Added to the position that the automatic mode asks for",
                                      .writable = true,
                                      .engineering_unit = "%",
                                      .range = {.lower = Value(static_cast<signed char>(-20)),
                                                .upper = Value(static_cast<signed char>(20))},
                                      .accept = clamp_to_range})),
      pump_speed_(
          domain_.add<unsigned short>("pump_speed", RATED_SPEED,
                                      {.description = "Speed of the leading pump",
                                       .engineering_unit = "1/min",
                                       .range = {.upper = Value(static_cast<unsigned short>(3000))}})),
      pump_speeds_(domain_.add<std::vector<unsigned short>>(
          "pump_speeds", {RATED_SPEED, 0},
          {.description = "Speeds of both pumps", .engineering_unit = "1/min"})) {
    domain_.add<std::vector<signed char>>(
        "trim_steps", {-20, -10, 0, 10, 20},
        {.description = "Trims that the panel offers", .writable = true, .engineering_unit = "%"});
}

void FeedWater::advance(std::chrono::duration<double> elapsed, OPERATING_MODE mode, double drum_level) {
    const unsigned char setpoint = choose_setpoint(mode, drum_level);
    const int position = valve_position_.get();
    const int moved = position + std::clamp(setpoint - position, -1, 1);
    const std::vector<unsigned short> speeds = get_pump_speeds(moved, elapsed);

    refresh(valve_setpoint_, setpoint);
    refresh(valve_position_, static_cast<unsigned char>(moved));
    refresh(pump_speed_, speeds.front());
    refresh(pump_speeds_, speeds);
}

unsigned char FeedWater::choose_setpoint(OPERATING_MODE mode, double drum_level) const {
    if (mode == OPERATING_MODE::OFF) {
        return 0;
    }
    if (mode == OPERATING_MODE::MANUAL) {
        return valve_setpoint_.get();
    }
    const double wanted = REST_POSITION + GAIN * (LEVEL_TO_BE_KEPT - drum_level) + trim_.get();
    return static_cast<unsigned char>(std::clamp(wanted, 0.0, 100.0));
}

double FeedWater::get_flow() const {
    return valve_position_.get() * FLOW_PER_PERCENT;
}

}  // namespace plant
