#pragma once

#include "FaultSchedule.h"

#include <information_model/Domain.h>
#include <information_model/Variable.h>

#include <atomic>
#include <chrono>
#include <string>
#include <utility>
#include <vector>

namespace plant {

/// Lets faults happen as a schedule says. The plant calls `begin_step` and `end_step` around each of its
/// steps; between them the items hold what they would hold without faults.
class Faults {
public:
    /// @param root  of the plant's tree, which outlives this object
    /// @throws ArgumentError  the schedule names an item that is no variable, or lets one jump that is no
    /// number
    Faults(kx::information_model::Domain& root, FaultSchedule schedule);

    /// Lets time pass, and takes the faults off the items. Requires: exclusive tree lock held.
    /// @return whether the plant's own time stands still in this step
    bool begin_step(std::chrono::milliseconds step);

    /// Puts the faults of this step on the items. Requires: exclusive tree lock held.
    void end_step();

    /// Lines about what has begun and ended since the last call. From the thread that makes the steps.
    std::vector<std::string> take_news() { return std::exchange(news_, {}); }

    /// Whether clients are to be served. Any thread.
    bool is_served() const { return is_served_; }

private:
    /// A fault and what it does.
    struct Entry {
        Fault fault;
        kx::information_model::Variable* variable = nullptr;
        bool is_active = false;
        kx::information_model::Value original =
            kx::information_model::Value(false);  ///< of an active one: what the item holds without it
        kx::information_model::Value shown = kx::information_model::Value(false);
        kx::information_model::symbol_list::QUALITY quality = {};
    };

    void begin(Entry& entry);
    void end(Entry& entry);

    const FaultSchedule schedule_;
    std::vector<Entry> entries_;
    std::vector<std::string> news_;
    std::chrono::milliseconds now_{0};  // within the period
    std::atomic<bool> is_served_ = true;
};

}  // namespace plant
