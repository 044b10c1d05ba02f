#pragma once

#include "Alarms.h"
#include "Boiler.h"
#include "FeedWater.h"
#include "Turbine.h"

#include <information_model/InformationModel.h>

#include <chrono>

namespace plant {

/// The whole tree and its life. Built once; `advance` is then called a few times a second by one thread.
class Plant {
public:
    /// Builds the tree in `model`, which is empty and outlives this object.
    /// @param bulk_variables  how many variables to add below "/bulk"
    Plant(kx::information_model::InformationModel& model, unsigned int bulk_variables);

    /// Lets `step` pass in one consistent update, under the exclusive tree lock.
    void advance(std::chrono::duration<double> step);

private:
    kx::information_model::InformationModel& model_;
    Boiler boiler_;
    FeedWater feed_water_;
    Turbine turbine_;
    Alarms alarms_;
    std::chrono::duration<double> elapsed_{0.0};
};

}  // namespace plant
