#pragma once

#include <information_model/Domain.h>
#include <information_model/Tree.h>
#include <information_model/export.h>

#include <memory>
#include <string>

namespace kx::information_model {

/// The tree that a host builds and a server publishes. Owns the root and so every item.
///
/// Held in a `std::shared_ptr` by the host and by each server on it; it must outlive every reference to an
/// item and every lock on the tree.
class KX_INFORMATION_MODEL_EXPORT InformationModel {
public:
    /// @param name  the root's name: one path segment, see `Path`
    /// @throws std::invalid_argument  with the name, if it is malformed
    explicit InformationModel(std::string name);
    /// @param name     as there
    /// @param options  what the root has besides its children
    InformationModel(std::string name, DomainOptions options);
    ~InformationModel();
    InformationModel(const InformationModel&) = delete;
    InformationModel& operator=(const InformationModel&) = delete;

    /// The root, as a node: gives access to the lock and, after a cast to `Item`, to look-ups.
    Tree& get_information_tree() noexcept;
    /// The same, to read: what `std::shared_lock` locks.
    const Tree& get_information_tree() const noexcept;

    /// The root, as a domain, to which items are added.
    Domain& get_root() noexcept;
    /// The same, to read.
    const Domain& get_root() const noexcept;

    /// Says whether a change of the tree, of a value or of metadata by a thread that does not hold the tree's
    /// exclusive lock is a `std::logic_error` that names the item. The change is then not made. When it is
    /// off, which is the default, such a change is not detected, and readers may see half of it.
    ///
    /// Libraries that were built for debugging (without NDEBUG) also turn it on with `begin_service`, unless
    /// this was called before. Any thread may call it at any time.
    void check_locks(bool is_checked) noexcept;

    /// Called by code that begins to serve the model to other threads: from now on changes need the lock.
    void begin_service() noexcept;

private:
    std::unique_ptr<Domain> root_;
};

}  // namespace kx::information_model
