#pragma once

#include <information_model/Identity.h>
#include <information_model/Item.h>
#include <information_model/ItemRange.h>
#include <information_model/PatternType.h>
#include <information_model/Registration.h>
#include <information_model/TypedVariable.h>
#include <information_model/Variable.h>
#include <information_model/export.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

namespace kx::information_model {

class InformationModel;

namespace detail {
class ChildIndex;
class Observers;
}  // namespace detail

/// What a domain may have besides its children.
struct DomainOptions {
    std::string description = {};                                ///< for people
    std::optional<Identity> identity = {};                       ///< for example a tag; absent means none
    pattern_type::PatternType pattern_type = pattern_type::ANY;  ///< the kind of thing that it represents
};

/// A branch of the tree. Owns its children and keeps them in the order in which they were added.
///
/// Building and removing require the exclusive tree lock once a server runs on the model.
class KX_INFORMATION_MODEL_EXPORT Domain final : public Item {
public:
    ~Domain() override;

    /// Adds a branch. The reference stays valid until the item is removed.
    /// @param name     one path segment, see `Path`; no other child of this domain may have it
    /// @param options  what it has besides its children
    /// @throws std::invalid_argument  with the name, if it is malformed or exists; nothing changes then
    Domain& add_domain(std::string name, DomainOptions options = {});

    /// Adds a leaf. As `add_domain` otherwise.
    /// @param name     as there
    /// @param initial  the first value, whose type is the declared one from now on
    /// @param options  what it has besides its value
    /// @throws std::invalid_argument  also if the options hold a quality or history kind that its list has
    ///                                not
    Variable& add_variable(std::string name, Value initial, VariableOptions options = {});

    /// Adds a variable and gives its handle: `add<double>("temperature", 21.5, {.engineering_unit =
    /// "degC"})`.
    /// @param name     as there
    /// @param initial  the first value
    /// @param options  as there; range and delta are of the variable's scalar type
    /// @throws BadValueTypeException  if range or delta are of another type
    template <VariableContent T>
    TypedVariable<T> add(std::string name, std::type_identity_t<T> initial, VariableOptions options = {}) {
        check_limits(name, get_scalar_type<T>(), options);
        if constexpr (std::is_enum_v<T>) {
            return TypedVariable<T>(
                add_variable(std::move(name), Value(SymbolInfo(initial)), std::move(options)));
        } else {
            return TypedVariable<T>(
                add_variable(std::move(name), Value(std::move(initial)), std::move(options)));
        }
    }
    /// Does not compile: `Other` does not become a `T` without loss.
    template <VariableContent T, class Other>
    requires(!KeptBy<Other, T>) TypedVariable<T> add(std::string name, const Other& initial,
                                                     VariableOptions options = {})
    = delete;

    /// The handle of the variable at `path`; nothing if there is none or if it has another type.
    ///
    /// Requires: tree lock held, as for `find_variable`.
    /// @throws InvalidPathException  if the text is not a valid path
    template <VariableContent T>
    std::optional<TypedVariable<T>> find(std::string_view path) {
        return TypedVariable<T>::create(find_variable(path));
    }
    /// The same for a path whose text has been checked already.
    template <VariableContent T>
    std::optional<TypedVariable<T>> find(const Path& path) {
        return TypedVariable<T>::create(find_variable(path));
    }

    /// Registers an observer of writes that change the content of any variable below this domain, however
    /// deep, those included that are added later. As `Variable::on_change` otherwise; costs no more than
    /// that.
    ///
    /// For one write the observers of the variable are called first, then those of its domain, and so on up
    /// to the root.
    [[nodiscard]] Registration on_change(Variable::Callback callback);
    /// Registers an observer of every write to a variable below this domain. As `on_change` otherwise.
    [[nodiscard]] Registration on_write(Variable::Callback callback);

    /// Removes and destroys the child with this name and all below it. Takes a step for each child that
    /// is before it or for each child behind it, whichever is less.
    /// @throws std::invalid_argument  with the name, if there is no such child
    void remove(const std::string& name);

    /// Removes and destroys all children and all below them.
    void clear();

    /// Removes and destroys the children that `predicate` chooses, and all below them, in linear time.
    /// @param predicate  called once for each child in their order; must not change the tree. If it throws,
    ///                   nothing is removed
    /// @return how many children were removed
    std::size_t remove_if(const std::function<bool(const Item&)>& predicate);

    /// The identity; an empty one when the domain has none.
    const Identity& get_identity() const noexcept;
    /// Whether the options gave an identity.
    bool has_identity() const noexcept;
    /// The kind of thing that the domain represents.
    const pattern_type::PatternType& get_pattern_type() const noexcept;

    /// Whether the domain has no children.
    bool is_empty() const noexcept;

    /// The children in their order; valid until one is added or removed.
    ItemRange<Item> items() noexcept { return ItemRange<Item>(get_children()); }
    /// The same, to read.
    ItemRange<const Item> items() const noexcept { return ItemRange<const Item>(get_children()); }

    /// The children as they are stored. Most callers use `items`.
    std::span<const std::unique_ptr<Tree>> get_children() const noexcept;

private:
    friend class InformationModel;
    friend class Item;
    friend class Tree;
    friend class Variable;

    template <class T>
    static constexpr VALUE_TYPE get_scalar_type() noexcept {
        if constexpr (std::is_enum_v<T>) {
            return VALUE_TYPE::SYMBOL;
        } else {
            return get_type_info_of<T>().get_type();
        }
    }
    static void check_limits(const std::string& name, VALUE_TYPE type, const VariableOptions& options);

    Domain(std::string name, Domain* parent, DomainOptions options);

    Item* find_child(std::string_view name) const noexcept;
    void prepare_child(std::string_view name);
    detail::Observers& get_observers();

    std::unique_ptr<detail::ChildIndex> children_;  // null until the first child comes
    std::unique_ptr<detail::TreeLock> tree_lock_;   // the root's alone
    std::unique_ptr<detail::Observers> observers_;  // null until the first one is registered
    std::optional<Identity> identity_;
    pattern_type::PatternType pattern_type_;
};

}  // namespace kx::information_model
