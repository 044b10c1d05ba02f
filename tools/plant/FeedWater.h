#pragma once

#include "symbols.h"

#include <information_model/Domain.h>

#include <chrono>

namespace plant {

/// The branch "/feed_water": a valve that moves to its set point, and the pumps behind it.
class FeedWater {
public:
    /// Builds the branch below `root`, which must outlive this object.
    explicit FeedWater(kx::information_model::Domain& root);

    /// Sets the valve's goal as `mode` demands and moves the valve towards it by one percent.
    /// Requires: exclusive tree lock held.
    /// @param drum_level  in %
    void advance(std::chrono::duration<double> elapsed, OPERATING_MODE mode, double drum_level);

    /// What flows into the drum, in kg/s.
    /// Requires: tree lock held.
    double get_flow() const;

private:
    unsigned char choose_setpoint(OPERATING_MODE mode, double drum_level) const;

    kx::information_model::Domain& domain_;
    kx::information_model::TypedVariable<unsigned char> valve_position_;
    kx::information_model::TypedVariable<unsigned char> valve_setpoint_;
    kx::information_model::TypedVariable<std::vector<unsigned char>> branch_positions_;
    kx::information_model::TypedVariable<signed char> trim_;
    kx::information_model::TypedVariable<unsigned short> pump_speed_;
    kx::information_model::TypedVariable<std::vector<unsigned short>> pump_speeds_;
};

}  // namespace plant
