#include "Turbine.h"

#include "refresh.h"

#include <algorithm>
#include <cmath>

namespace plant {
namespace {

using namespace kx::information_model;
using symbol_list::HISTORY_KIND;

constexpr float RUN_UP_PRESSURE = 2.0F;   // bar
constexpr float ON_LINE_PRESSURE = 5.0F;  // bar
constexpr float TRIP_PRESSURE = 60.0F;    // bar
constexpr double REVOLUTIONS_PER_SECOND = 50.0;
constexpr double WATTS_PER_BAR = 400'000.0;
constexpr double OWN_CONSUMPTION = 150'000.0;  // W

TURBINE_STATE get_state_at(float pressure) {
    if (pressure > TRIP_PRESSURE) {
        return TURBINE_STATE::TRIPPED;
    }
    if (pressure > ON_LINE_PRESSURE) {
        return TURBINE_STATE::ON_LINE;
    }
    return pressure > RUN_UP_PRESSURE ? TURBINE_STATE::RUN_UP : TURBINE_STATE::TURNING;
}

Domain& add_turbine(Domain& root) {
    return root.add_domain("turbine", {.description = "Condensing turbine",
                                       .identity = Identity("T-7"),
                                       .pattern_type = pattern_type::UNIT});
}

std::vector<SymbolInfo> get_first_states() {
    return {SymbolInfo(TURBINE_STATE::ON_LINE), SymbolInfo(TURBINE_STATE::RUN_UP),
            SymbolInfo(TURBINE_STATE::TURNING)};
}

}  // namespace

Turbine::Turbine(Domain& root)
    : domain_(add_turbine(root)),
      state_(domain_.add<TURBINE_STATE>("state", TURBINE_STATE::ON_LINE,
                                        {.description = "The controller's state",
                                         .writable = false,
                                         .history_kind = HISTORY_KIND::HISTORY_AVAILABLE})),
      last_states_(domain_.add<std::vector<SymbolInfo>>(
          "last_states", get_first_states(), {.description = "The latest three states, newest first"})),
      vibration_(domain_.add<short>(
          "vibration", short{25},
          {.description = "Shaft vibration",
           .engineering_unit = "um",
           .range = {.lower = Value(static_cast<short>(-250)), .upper = Value(static_cast<short>(250))},
           .delta = Value(static_cast<short>(5))})),
      bearing_vibrations_(domain_.add<std::vector<short>>(
          "bearing_vibrations", {25, -25}, {.description = "At both bearings", .engineering_unit = "um"})),
      axial_position_(domain_.add<int>("axial_position", -120,
                                       {.description = "Of the rotor",
                                        .engineering_unit = "um",
                                        .range = {.lower = Value(-1000), .upper = Value(1000)},
                                        .delta = Value(10),
                                        .history_kind = HISTORY_KIND::HISTORY_SUGGESTED})),
      bearing_positions_(domain_.add<std::vector<int>>(
          "bearing_positions", {-120, 118}, {.description = "At both bearings", .engineering_unit = "um"})),
      counters_(domain_.add_domain("counters", {.description = "What is counted, without reset",
                                                .pattern_type = pattern_type::FUNCTION})),
      starts_(counters_.add<unsigned int>(
          "starts", 17U, {.description = "Starts of the turbine", .range = {.lower = Value(0U)}})),
      alarms_by_class_(counters_.add<std::vector<unsigned int>>("alarms_by_class", {0, 4, 31},
                                                                {.description = "Severe ones first"})),
      revolutions_(counters_.add<unsigned long>("revolutions", 9'007'199'254'740'993UL,
                                                {.description = "Revolutions of the shaft"})),
      pulses_(counters_.add<std::vector<unsigned long>>("pulses", {18'446'744'073'000'000'000UL, 0UL},
                                                        {.description = "Pulses of both encoders"})),
      net_energy_(counters_.add<long>("net_energy", -3'600'000L,
                                      {.description = "Energy delivered, less what was drawn",
                                       .engineering_unit = "J",
                                       .delta = Value(1'000'000L)})),
      phase_energies_(
          counters_.add<std::vector<long>>("phase_energies", {0L, 0L, -3'600'000L},
                                           {.description = "The same by phase", .engineering_unit = "J"})) {}

void Turbine::advance(std::chrono::duration<double> elapsed, std::chrono::duration<double> step,
                      float pressure) {
    enter_state(get_state_at(pressure));
    advance_measurements(elapsed);
    advance_counters(step, pressure);
}

TURBINE_STATE Turbine::get_state() const {
    return state_.get();
}

void Turbine::enter_state(TURBINE_STATE state) {
    if (state == get_state()) {
        return;
    }
    auto states = last_states_.get();
    states.pop_back();
    states.insert(states.begin(), SymbolInfo(state));
    refresh(state_, state);
    refresh(last_states_, std::move(states));
    if (state == TURBINE_STATE::RUN_UP) {
        refresh(starts_, starts_.get() + 1U);
    }
}

void Turbine::advance_measurements(std::chrono::duration<double> elapsed) {
    const auto vibration = static_cast<short>(25.0 + 10.0 * std::sin(elapsed.count() * 2.0));
    const int position = -120 + static_cast<int>(15.0 * std::sin(elapsed.count() / 5.0));

    refresh(vibration_, vibration);
    refresh(bearing_vibrations_, std::vector<short>{vibration, static_cast<short>(-vibration)});
    refresh(axial_position_, position);
    refresh(bearing_positions_, std::vector<int>{position, position + 238});
}

void Turbine::advance_counters(std::chrono::duration<double> step, float pressure) {
    if (get_state() != TURBINE_STATE::ON_LINE) {
        return;
    }
    const auto turns = static_cast<unsigned long>(REVOLUTIONS_PER_SECOND * step.count());
    const auto energy = static_cast<long>((pressure * WATTS_PER_BAR - OWN_CONSUMPTION) * step.count());
    auto pulses = pulses_.get();
    for (unsigned long& count : pulses) {
        count += turns * 60UL;
    }
    auto energies = phase_energies_.get();
    for (long& phase : energies) {
        phase += energy / 3L;
    }

    refresh(revolutions_, revolutions_.get() + turns);
    refresh(pulses_, std::move(pulses));
    refresh(net_energy_, net_energy_.get() + energy);
    refresh(phase_energies_, std::move(energies));
}

}  // namespace plant
