#pragma once

#include "symbols.h"

#include <information_model/Domain.h>

#include <chrono>

namespace plant {

/// The branch "/turbine": its state follows the steam pressure, its counters only grow.
class Turbine {
public:
    /// Builds the branch below `root`, which must outlive this object.
    explicit Turbine(kx::information_model::Domain& root);

    /// Requires: exclusive tree lock held.
    /// @param pressure  of the steam, in bar
    void advance(std::chrono::duration<double> elapsed, std::chrono::duration<double> step, float pressure);

    /// Requires: tree lock held.
    TURBINE_STATE get_state() const;

private:
    void enter_state(TURBINE_STATE state);
    void advance_measurements(std::chrono::duration<double> elapsed);
    void advance_counters(std::chrono::duration<double> step, float pressure);

    kx::information_model::Domain& domain_;
    kx::information_model::TypedVariable<TURBINE_STATE> state_;
    kx::information_model::TypedVariable<std::vector<kx::information_model::SymbolInfo>> last_states_;
    kx::information_model::TypedVariable<short> vibration_;
    kx::information_model::TypedVariable<std::vector<short>> bearing_vibrations_;
    kx::information_model::TypedVariable<int> axial_position_;
    kx::information_model::TypedVariable<std::vector<int>> bearing_positions_;

    kx::information_model::Domain& counters_;
    kx::information_model::TypedVariable<unsigned int> starts_;
    kx::information_model::TypedVariable<std::vector<unsigned int>> alarms_by_class_;
    kx::information_model::TypedVariable<unsigned long> revolutions_;
    kx::information_model::TypedVariable<std::vector<unsigned long>> pulses_;
    kx::information_model::TypedVariable<long> net_energy_;
    kx::information_model::TypedVariable<std::vector<long>> phase_energies_;
};

}  // namespace plant
