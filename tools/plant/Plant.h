#pragma once

#include "Alarms.h"
#include "Boiler.h"
#include "Faults.h"
#include "FeedWater.h"
#include "Turbine.h"

#include <information_model/InformationModel.h>

#include <chrono>
#include <optional>

namespace plant {

/// The whole tree and its life. Built once; `advance` is then called a few times a second by one thread.
class Plant {
public:
    /// Builds the tree in `model`, which is empty and outlives this object.
    /// @param bulk_variables  how many variables to add below "/bulk"
    /// @param faults          that there are to be
    /// @throws ArgumentError  the schedule of the faults does not suit the tree
    Plant(kx::information_model::InformationModel& model, unsigned int bulk_variables,
          const std::optional<FaultSchedule>& faults);

    /// Lets `step` pass in one consistent update, under the exclusive tree lock.
    void advance(std::chrono::milliseconds step);

    bool has_faults() const { return faults_.has_value(); }

    /// Whether clients are to be served, which they are unless a fault takes their connections. Any thread.
    bool is_served() const { return !faults_ || faults_->is_served(); }

private:
    /// Lets time pass in the plant itself. Requires: exclusive tree lock held.
    void move_on(std::chrono::duration<double> step);

    kx::information_model::InformationModel& model_;
    Boiler boiler_;
    FeedWater feed_water_;
    Turbine turbine_;
    Alarms alarms_;
    std::optional<Faults> faults_;
    std::chrono::duration<double> elapsed_{0.0};
};

}  // namespace plant
