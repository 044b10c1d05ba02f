#pragma once

#include <information_model/Name.h>
#include <information_model/Path.h>
#include <information_model/export.h>

#include <chrono>
#include <string>

namespace kx::information_model {

class Domain;

class Tree;

namespace detail {
class TreeLock;
void check_lock(const Tree& node);
}  // namespace detail

/// A named node that knows its place in the tree, and the lock of that whole tree.
///
/// Lockable and SharedLockable, with and without a time limit: `std::unique_lock<Tree>` to change the tree or
/// its values, `std::shared_lock<const Tree>` to read them. Every node gives access to the one lock of its
/// tree. The lock is fair: a waiting writer is admitted after the readers that held the lock when it came,
/// and the readers that waited for a writer are admitted before the next one. It is not recursive: a thread
/// that holds it, shared or exclusive, must not take it again.
///
/// Domains own their children, the `InformationModel` owns the root. Only they make and destroy nodes.
class KX_INFORMATION_MODEL_EXPORT Tree {
public:
    virtual ~Tree();
    Tree(const Tree&) = delete;
    Tree& operator=(const Tree&) = delete;

    /// The node's own name; that of the root is the model's.
    const Name& get_name() const noexcept { return name_; }

    /// The absolute path, "/" for the root, which a client can send back. Built by walking up the tree.
    Path get_path() const;

    /// Takes the lock of the whole tree exclusively; blocks.
    void lock();
    /// As `lock`, but does not wait.
    /// @return whether it took the lock
    bool try_lock();

    /// As `lock`, but gives up after a while. It waits in the same queue as `lock`.
    /// @return whether it took the lock
    template <class Rep, class Period>
    bool try_lock_for(std::chrono::duration<Rep, Period> patience) {
        return try_lock_until_steady(get_deadline(patience));
    }
    /// As `try_lock_for`, until a moment of any clock.
    template <class Clock, class Length>
    bool try_lock_until(std::chrono::time_point<Clock, Length> deadline) {
        return try_lock_for(deadline - Clock::now());
    }

    /// Releases the exclusive lock and then, still on this thread, calls the observers of what was written
    /// while it was held, in the order of the writes. Exceptions of observers do not come out of it.
    /// Requires: held by this thread.
    void unlock();

    /// Takes the lock of the whole tree shared; blocks while a writer holds it or waits for it.
    void lock_shared() const;
    /// As `lock_shared`, but does not wait.
    /// @return whether it took the lock
    bool try_lock_shared() const;

    /// As `lock_shared`, but gives up after a while. It waits in the same queue as `lock_shared`.
    /// @return whether it took the lock
    template <class Rep, class Period>
    bool try_lock_shared_for(std::chrono::duration<Rep, Period> patience) const {
        return try_lock_shared_until_steady(get_deadline(patience));
    }
    /// As `try_lock_shared_for`, until a moment of any clock.
    template <class Clock, class Length>
    bool try_lock_shared_until(std::chrono::time_point<Clock, Length> deadline) const {
        return try_lock_shared_for(deadline - Clock::now());
    }

    /// Requires: held shared by this thread.
    void unlock_shared() const;

protected:
    /// @param name    checked by the caller
    /// @param parent  null for a root, which then brings its lock
    Tree(std::string name, Domain* parent);

    /// @cond
    Domain* get_parent() noexcept { return parent_; }
    const Domain* get_parent() const noexcept { return parent_; }
    const Domain& get_root_domain() const noexcept;
    detail::TreeLock& get_tree_lock() const noexcept;
    /// @endcond

private:
    friend void detail::check_lock(const Tree& node);
    using SteadyTime = std::chrono::steady_clock::time_point;

    /// The moment `patience` from now, or the last one that the clock can represent.
    template <class Rep, class Period>
    static SteadyTime get_deadline(std::chrono::duration<Rep, Period> patience) {
        using Seconds = std::chrono::duration<double>;
        const SteadyTime now = std::chrono::steady_clock::now();
        // Compared as floating point, where nothing overflows; a century is not waited for.
        if (Seconds(patience) > std::chrono::years(100)) {
            return now + std::chrono::years(100);
        }
        if (Seconds(patience) < Seconds(0)) {
            return now;
        }
        return now + std::chrono::ceil<SteadyTime::duration>(patience);
    }
    bool try_lock_until_steady(SteadyTime deadline);
    bool try_lock_shared_until_steady(SteadyTime deadline) const;

    Domain* parent_;
    Name name_;
};

}  // namespace kx::information_model
