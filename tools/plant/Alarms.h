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
    kx::information_model::TypedVariable<std::string> text_;
    kx::information_model::TypedVariable<std::vector<std::string>> latest_texts_;
    kx::information_model::TypedVariable<kx::information_model::TimePoint> raised_at_;
    kx::information_model::TypedVariable<std::vector<kx::information_model::TimePoint>> latest_times_;
    kx::information_model::TypedVariable<kx::information_model::Path> source_;
    kx::information_model::TypedVariable<kx::information_model::AbsolutePath> document_;
    kx::information_model::TypedVariable<bool> horn_;
};

}  // namespace plant
