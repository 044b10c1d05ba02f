#pragma once

#include <information_model/Path.h>
#include <information_model/Value.h>
#include <information_model/Variable.h>

#include <list>
#include <memory>
#include <mutex>
#include <vector>

namespace kx::information_model::detail {

/// The callback of one registration.
///
/// Owned by its `Registration` and by the deliveries that are due to it, so that the callback object lives
/// as long as it runs. Calls of one observer never overlap.
class Observer {
public:
    explicit Observer(Variable::Callback callback);

    /// Calls the callback unless the registration has ended. An exception goes to the standard error stream.
    void call(const Path& path, const Value& value) noexcept;

    /// Waits for a call under way on another thread; no call begins afterwards.
    void end() noexcept;

private:
    std::recursive_mutex mutex_;  // held during a call; recursive so that the callback may end itself
    bool is_active_ = true;       // guarded by mutex_
    const Variable::Callback callback_;
};

/// What one write tells its observers.
struct Written {
    Path path;
    Value value;
};

/// One call of an observer that is due. Independent of the variable, which may be gone by then.
struct Delivery {
    std::shared_ptr<Observer> observer;
    std::shared_ptr<const Written> written;
};

/// Deliveries in the order of their writes. A list, because it is handed on without an allocation that
/// could fail.
using Deliveries = std::list<Delivery>;

/// Makes the calls that are due, in order, on this thread. Called while it makes calls already, by an
/// observer that writes, it only appends to them: the depth of the stack does not grow.
void deliver(Deliveries deliveries) noexcept;

/// The observers of one variable or one branch. Guarded by the tree lock.
class Observers {
public:
    enum class Kind : unsigned char { CHANGED, WRITTEN };

    /// Costs the same however many there are, on average.
    /// @throws std::invalid_argument  if the callback is empty
    std::shared_ptr<Observer> add(Kind kind, Variable::Callback callback);

    /// Adds the calls that a write brings about, in the order of the registrations.
    /// @param written  what the observers are told; made at the first call that is due, for several
    /// `Observers`
    void append_deliveries(Deliveries& deliveries, std::shared_ptr<const Written>& written,
                           const Variable& variable, const Value& value, CALLBACK_RESTRAIN restrain,
                           bool is_changed) const;

    /// Whether anybody is registered.
    bool is_any_registered() const noexcept;

private:
    struct Entry {
        Kind kind;
        std::weak_ptr<Observer> observer;  // expires when the registration has ended
    };

    std::vector<Entry> entries_;
};

}  // namespace kx::information_model::detail
