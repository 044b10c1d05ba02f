#pragma once

#include <information_model/Path.h>
#include <information_model/Tree.h>
#include <information_model/export.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace kx::information_model {

class Variable;

/// The kind of an item.
enum class ITEM_TYPE : std::uint8_t { DOMAIN = 0, VARIABLE = 1 };

/// A node that can be looked up by path and has a type and a description: a `Domain` or a `Variable`.
class KX_INFORMATION_MODEL_EXPORT Item : public Tree {
public:
    ~Item() override;

    /// Finds the item at `path`. A path that begins with "/" starts at the root of the tree, every other
    /// one at this item. Allocates nothing when it finds the item.
    ///
    /// Requires: tree lock held, shared or exclusive; the reference is valid while it is held.
    /// @param path      the item's address
    /// @param reserved  has no meaning; pass false
    /// @throws PathNotFoundException  if there is no such item
    const Item& get_item(const Path& path, bool reserved) const;
    /// The same, to change the item: then the lock is held exclusively.
    Item& get_item(const Path& path, bool reserved);

    /// Finds the item at `path` as `get_item` does, and returns null if there is none. Allocates nothing.
    ///
    /// Requires: tree lock held, shared or exclusive; the item is valid while it is held,
    /// and longer if no other thread removes items.
    /// @param path  the item's address, in the form that `Path` describes
    /// @return the item, null if no item has that path
    /// @throws InvalidPathException  if the text is not a valid path
    const Item* find_item(std::string_view path) const;
    /// The same, to change the item: then the lock is held exclusively.
    Item* find_item(std::string_view path);
    /// The same for a path whose text has been checked already.
    const Item* find_item(const Path& path) const noexcept;
    /// The same, to change the item: then the lock is held exclusively.
    Item* find_item(const Path& path) noexcept;

    /// As `find_item`, for a variable.
    /// @return the variable, null if no item has that path or if it is a domain
    /// @throws InvalidPathException  if the text is not a valid path
    const Variable* find_variable(std::string_view path) const;
    /// The same, to change the variable: then the lock is held exclusively.
    Variable* find_variable(std::string_view path);
    /// The same for a path whose text has been checked already.
    const Variable* find_variable(const Path& path) const noexcept;
    /// The same, to change the variable: then the lock is held exclusively.
    Variable* find_variable(const Path& path) noexcept;

    /// Whether the item is a `Domain` or a `Variable`, so that a `static_cast` is safe.
    ITEM_TYPE get_item_type() const noexcept { return item_type_; }

    /// Empty when none was given.
    const std::string& get_description() const noexcept;

    /// Replaces the description.
    /// Requires: exclusive tree lock held once a server runs.
    void set_description(std::string description);

protected:
    /// For the two kinds of item.
    Item(std::string name, Domain* parent, ITEM_TYPE item_type, std::string description);

private:
    /// Requires: a valid path
    const Item* find_checked(std::string_view path) const noexcept;

    std::unique_ptr<const std::string> description_;  // null when empty
    ITEM_TYPE item_type_;
};

}  // namespace kx::information_model
