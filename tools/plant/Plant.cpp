#include "Plant.h"

#include "static_branches.h"

#include <mutex>

namespace plant {

Plant::Plant(kx::information_model::InformationModel& model, unsigned int bulk_variables)
    : model_(model),
      boiler_(model.get_root()),
      feed_water_(model.get_root()),
      turbine_(model.get_root()),
      alarms_(model.get_root()) {
    add_maintenance(model.get_root());
    add_instruments(model.get_root());
    add_bulk(model.get_root(), bulk_variables);
}

void Plant::advance(std::chrono::duration<double> step) {
    elapsed_ += step;
    const std::unique_lock lock(model_.get_information_tree());
    boiler_.advance(elapsed_, step, feed_water_.get_flow());
    feed_water_.advance(elapsed_, boiler_.get_mode(), boiler_.get_level());
    turbine_.advance(elapsed_, step, boiler_.get_pressure());
    alarms_.advance(boiler_.get_level(), turbine_.get_state());
}

}  // namespace plant
