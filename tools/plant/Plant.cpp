#include "Plant.h"

#include "ClientWrites.h"
#include "static_branches.h"

#include <mutex>
#include <string>

namespace plant {

Plant::Plant(kx::information_model::InformationModel& model, unsigned int bulk_variables,
             const std::optional<FaultSchedule>& faults)
    : model_(model),
      boiler_(model.get_root()),
      feed_water_(model.get_root()),
      turbine_(model.get_root()),
      alarms_(model.get_root()) {
    add_maintenance(model.get_root());
    add_instruments(model.get_root());
    add_bulk(model.get_root(), bulk_variables);
    if (faults) {
        faults_.emplace(model.get_root(), *faults);
    }
}

void Plant::advance(std::chrono::milliseconds step) {
    if (!faults_) {
        const std::unique_lock lock(model_.get_information_tree());
        move_on(step);
        return;
    }
    {
        const std::unique_lock lock(model_.get_information_tree());
        if (!faults_->begin_step(step)) {
            move_on(step);
        }
        faults_->end_step();
    }
    for (const std::string& line : faults_->take_news()) {
        print_line(line);
    }
}

void Plant::move_on(std::chrono::duration<double> step) {
    elapsed_ += step;
    boiler_.advance(elapsed_, step, feed_water_.get_flow());
    feed_water_.advance(elapsed_, boiler_.get_mode(), boiler_.get_level());
    turbine_.advance(elapsed_, step, boiler_.get_pressure());
    alarms_.advance(boiler_.get_level(), turbine_.get_state());
}

}  // namespace plant
