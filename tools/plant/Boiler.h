#pragma once

#include "symbols.h"

#include <information_model/Domain.h>

#include <chrono>

namespace plant {

/// The branch "/boiler": a drum whose temperature follows a set point that clients write.
class Boiler {
public:
    /// Builds the branch below `root`, which must outlive this object.
    explicit Boiler(kx::information_model::Domain& root);

    /// Lets `step` pass, at the time `elapsed` since the start, while feed water flows in.
    /// Requires: exclusive tree lock held.
    /// @param feed_flow  in kg/s
    void advance(std::chrono::duration<double> elapsed, std::chrono::duration<double> step, double feed_flow);

    /// Requires: tree lock held, for these.
    OPERATING_MODE get_mode() const;
    double get_temperature() const;  ///< in degC
    float get_pressure() const;      ///< in bar
    double get_level() const;        ///< of the drum, in %

private:
    double get_goal() const;

    kx::information_model::Domain& domain_;
    kx::information_model::TypedVariable<OPERATING_MODE> mode_;
    kx::information_model::TypedVariable<bool> burner_on_;
    kx::information_model::TypedVariable<std::vector<bool>> flame_detectors_;
    kx::information_model::TypedVariable<double> temperature_;
    kx::information_model::TypedVariable<double> temperature_setpoint_;
    kx::information_model::TypedVariable<std::vector<double>> zone_temperatures_;
    kx::information_model::TypedVariable<float> pressure_;
    kx::information_model::TypedVariable<std::vector<float>> steam_pressures_;
    kx::information_model::TypedVariable<double> level_;
};

}  // namespace plant
