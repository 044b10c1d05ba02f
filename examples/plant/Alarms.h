#pragma once

#include "symbols.h"

#include <information_model/Domain.h>

namespace plant {

/// The branch "/alarms": what is wrong at present, where, and since when, and a horn that clients silence.
class Alarms {
public:
    /// Builds the branch below `root`, which must outlive this object.
    explicit Alarms(kx::information_model::Domain& root);

    /// Raises, replaces or clears the alarm.
    /// Requires: exclusive tree lock held.
    /// @param drum_level  in %
    void advance(double drum_level, TURBINE_STATE turbine_state);

private:
    struct Alarm;

    static Alarm find_alarm(double drum_level, TURBINE_STATE turbine_state);
    void raise(const Alarm& alarm);

    kx::information_model::Domain& domain_;
    kx::information_model::Variable& text_;
    kx::information_model::Variable& latest_texts_;
    kx::information_model::Variable& raised_at_;
    kx::information_model::Variable& latest_times_;
    kx::information_model::Variable& source_;
    kx::information_model::Variable& document_;
    kx::information_model::Variable& horn_;
};

}  // namespace plant
