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
    /// @throws std::invalid_argument  naming the name, if it is malformed
    explicit InformationModel(std::string name);
    ~InformationModel();
    InformationModel(const InformationModel&) = delete;
    InformationModel& operator=(const InformationModel&) = delete;

    /// The root, as a node: the way to the lock and, by a cast to `Item`, to look-ups.
    Tree& get_information_tree() noexcept;
    /// The same, to read: what `std::shared_lock` locks.
    const Tree& get_information_tree() const noexcept;

    /// The root, as a domain: the place to build.
    Domain& get_root() noexcept;
    /// The same, to read.
    const Domain& get_root() const noexcept;

private:
    std::unique_ptr<Domain> root_;
};

}  // namespace kx::information_model
