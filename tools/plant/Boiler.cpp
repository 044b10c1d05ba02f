#include "Boiler.h"

#include "refresh.h"

#include <information_model/guards.h>

#include <algorithm>
#include <cmath>
#include <numbers>

namespace plant {
namespace {

using namespace kx::information_model;
using symbol_list::HISTORY_KIND;
using symbol_list::QUALITY;

constexpr double AMBIENT = 20.0;            // degC
constexpr double LOWEST_SETPOINT = 20.0;    // degC
constexpr double HIGHEST_SETPOINT = 350.0;  // degC
constexpr double TIME_CONSTANT = 20.0;      // s, of the drum
constexpr double STEAM_FLOW_PER_BAR = 1.0;  // kg/s
constexpr double LOAD_SWING = 0.3;          // how far the demand for steam swings about its mean
constexpr double LOAD_PERIOD = 40.0;        // s; swings the level so far that alarms come and go
constexpr double LEVEL_PER_KG = 0.2;        // %

/// A small unrest that keeps measured values from standing still.
double get_ripple(std::chrono::duration<double> elapsed, double period) {
    return std::sin(2.0 * std::numbers::pi * elapsed.count() / period);
}

Domain& add_boiler(Domain& root) {
    return root.add_domain("boiler", {.description = "Steam boiler 1",
                                      .identity = Identity("B-001"),
                                      .pattern_type = pattern_type::DEVICE});
}

}  // namespace

Boiler::Boiler(Domain& root)
    : domain_(add_boiler(root)),
      mode_(domain_.add<OPERATING_MODE>("mode", OPERATING_MODE::AUTOMATIC,
                                        {.description = "How the boiler is run", .writable = true})),
      burner_on_(domain_.add<bool>("burner_on", true, {.description = "Whether the burner is lit"})),
      flame_detectors_(domain_.add<std::vector<bool>>(
          "flame_detectors", {true, true, true}, {.description = "What each of the three detectors sees"})),
      temperature_(domain_.add<double>("temperature", 178.0,
                                       {.description = "Drum temperature",
                                        .writable = false,
                                        .engineering_unit = "degC",
                                        .range = {.lower = Value(0.0), .upper = Value(400.0)},
                                        .delta = Value(0.5),
                                        .fractional_digits = 1,
                                        .history_kind = HISTORY_KIND::HISTORY_AVAILABLE})),
      temperature_setpoint_(
          domain_.add<double>("temperature_setpoint", 180.0,
                              {.description = "Drum temperature to be kept",
                               .writable = true,
                               .engineering_unit = "degC",
                               .range = {.lower = Value(LOWEST_SETPOINT), .upper = Value(HIGHEST_SETPOINT)},
                               .fractional_digits = 1,
                               .history_kind = HISTORY_KIND::NONE,
                               .accept = clamp_to_range})),
      zone_temperatures_(
          domain_.add<std::vector<double>>("zone_temperatures", {178.0, 177.0, 176.0, 175.0},
                                           {.description = "Wall temperatures from bottom to top",
                                            .engineering_unit = "degC",
                                            .fractional_digits = 1})),
      pressure_(domain_.add<float>("pressure", 9.6F,
                                   {.description = "Drum pressure",
                                    .engineering_unit = "bar",
                                    .range = {.lower = Value(0.0F)},
                                    .delta = Value(0.05F),
                                    .fractional_digits = 2,
                                    .history_kind = HISTORY_KIND::HISTORY_SUGGESTED})),
      steam_pressures_(domain_.add<std::vector<float>>("steam_pressures", {9.5F, 9.4F},
                                                       {.description = "Pressures in both steam lines",
                                                        .engineering_unit = "bar",
                                                        .fractional_digits = 2})),
      level_(domain_.add<double>("level", 60.0,
                                 {.description = "Drum level",
                                  .writable = false,
                                  .engineering_unit = "%",
                                  .range = {.upper = Value(100.0)},
                                  .delta = Value(1.0),
                                  .fractional_digits = 1})) {}

void Boiler::advance(std::chrono::duration<double> elapsed, std::chrono::duration<double> step,
                     double feed_flow) {
    const bool burning = get_mode() != OPERATING_MODE::OFF;
    const double goal = burning ? get_goal() : AMBIENT;
    const double temperature = get_temperature() + (goal - get_temperature()) * step.count() / TIME_CONSTANT +
                               0.05 * get_ripple(elapsed, 7.0);
    const double pressure = std::max(0.0, std::pow(temperature / 100.0, 4.0) - 0.9);
    const double steam_flow =
        pressure * STEAM_FLOW_PER_BAR * (1.0 + LOAD_SWING * get_ripple(elapsed, LOAD_PERIOD));
    const double level = get_level() + (feed_flow - steam_flow) * LEVEL_PER_KG * step.count();

    refresh(burner_on_, burning);
    refresh(flame_detectors_,
            std::vector<bool>{burning, burning, burning && get_ripple(elapsed, 30.0) < 0.95});
    refresh(temperature_, temperature);
    refresh(zone_temperatures_,
            std::vector<double>{temperature, temperature - 1.0, temperature - 2.0, temperature - 3.0});
    refresh(pressure_, static_cast<float>(pressure));
    refresh(steam_pressures_,
            std::vector<float>{static_cast<float>(pressure * 0.99), static_cast<float>(pressure * 0.98)});
    refresh(level_, std::clamp(level, 0.0, 100.0));
    temperature_.get_variable().set_quality(temperature > 400.0 ? QUALITY::UNCERTAIN_EU_EXCEEDED
                                                                : QUALITY::GOOD);
}

double Boiler::get_goal() const {
    return temperature_setpoint_.get();
}

OPERATING_MODE Boiler::get_mode() const {
    return mode_.get();
}

double Boiler::get_temperature() const {
    return temperature_.get();
}

float Boiler::get_pressure() const {
    return pressure_.get();
}

double Boiler::get_level() const {
    return level_.get();
}

}  // namespace plant
