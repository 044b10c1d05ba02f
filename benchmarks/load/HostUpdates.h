#pragma once

#include <information_model/InformationModel.h>

#include <cstddef>
#include <memory>
#include <thread>
#include <vector>

namespace kx::benchmarks {

/// How many variables the host writes at a time.
inline constexpr std::size_t UPDATED_VARIABLES = 10000;

/// How long the host waited for the tree lock, each time that it took it. Lies in memory that processes
/// share: made before the host's process is forked, it is filled there and read by the driver.
class LockWaits {
public:
    LockWaits();
    LockWaits(const LockWaits&) = delete;
    LockWaits& operator=(const LockWaits&) = delete;
    ~LockWaits();

    /// One thread adds. What goes beyond some ten thousand entries is dropped.
    void add(double milliseconds);

    std::size_t get_count() const;

    /// The entries from `first` on, in milliseconds.
    std::vector<double> get_since(std::size_t first) const;

private:
    struct Shared;

    Shared* shared_;
};

/// A host that, ten times a second, changes the first `UPDATED_VARIABLES` doubles of a tree made by
/// `build_tree`, under the exclusive tree lock. Ends with this object.
class HostUpdates {
public:
    /// @param model  has at least that many doubles; outlives this object, as does `waits`
    HostUpdates(information_model::InformationModel& model, LockWaits& waits);
    HostUpdates(const HostUpdates&) = delete;
    HostUpdates& operator=(const HostUpdates&) = delete;
    ~HostUpdates() = default;

private:
    void run(const std::stop_token& stop);
    void update();

    information_model::InformationModel& model_;
    LockWaits& waits_;
    std::vector<information_model::Variable*> variables_;
    double value_ = 0;
    std::jthread thread_;
};

}  // namespace kx::benchmarks
