#pragma once

#include <information_model/Identity.h>
#include <information_model/Item.h>
#include <information_model/PatternType.h>
#include <information_model/Variable.h>
#include <information_model/export.h>

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace kx::information_model {

class InformationModel;

namespace detail {
class ChildIndex;
}

/// What a domain may have besides its children.
struct DomainOptions {
    std::string description = {};           ///< for people
    std::optional<Identity> identity = {};  ///< which one it is; absent means that it has none
    pattern_type::PatternType pattern_type = pattern_type::ANY;  ///< what kind of thing it stands for
};

/// A branch of the tree. Owns its children and keeps them in the order in which they were added.
///
/// Building and removing require the exclusive tree lock once a server runs on the model.
class KX_INFORMATION_MODEL_EXPORT Domain final : public Item {
public:
    ~Domain() override;

    /// Adds a branch. The reference stays valid until the item is removed.
    /// @param name     one path segment, see `Path`, that no child of this domain has yet
    /// @param options  what it has besides its children
    /// @throws std::invalid_argument  naming the name, if it is malformed or taken; nothing is then changed
    Domain& add_domain(std::string name, DomainOptions options = {});

    /// Adds a leaf. As `add_domain` otherwise.
    /// @param name     as there
    /// @param initial  the first value, whose type is the declared one from now on
    /// @param options  what it has besides its value
    /// @throws std::invalid_argument  also if the options hold a quality or history kind that its list has
    ///                                not
    Variable& add_variable(std::string name, Value initial, VariableOptions options = {});

    /// Removes and destroys the child with this name and all below it. Costs a step for each child that
    /// was added after it.
    /// @throws std::invalid_argument  naming the name, if there is no such child
    void remove(const std::string& name);

    /// The identity; an empty one when the domain has none.
    const Identity& get_identity() const noexcept;
    /// Whether the options gave an identity.
    bool has_identity() const noexcept;
    /// What kind of thing the domain stands for.
    const pattern_type::PatternType& get_pattern_type() const noexcept;

    /// Whether the domain has no children.
    bool is_empty() const noexcept;

    /// The children in their order; valid until one is added or removed. Each is an `Item`.
    std::span<const std::unique_ptr<Tree>> get_children() const noexcept;

private:
    friend class InformationModel;
    friend class Item;
    friend class Tree;

    Domain(std::string name, Domain* parent, DomainOptions options);

    Item* find_child(std::string_view name) const noexcept;
    void prepare_child(std::string_view name);

    std::unique_ptr<detail::ChildIndex> children_;  // null until the first child comes
    std::unique_ptr<detail::TreeLock> tree_lock_;   // the root's alone
    std::optional<Identity> identity_;
    pattern_type::PatternType pattern_type_;
};

}  // namespace kx::information_model
