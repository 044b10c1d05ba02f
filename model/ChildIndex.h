#pragma once

#include <information_model/Tree.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

namespace kx::information_model::detail {

/// The children of a domain: in the order in which they were added, and found by name.
///
/// Up to `MAXIMUM_UNINDEXED` children are found by comparing names. More get a table with open addressing: a
/// power of two of slots, at most three quarters of them taken, probed one after the other from the one that
/// the name's hash points to. A slot holds the hash beside the child, so that a look-up touches no child but
/// the one that it finds, and growing touches none.
class ChildIndex {
public:
    static constexpr std::size_t MAXIMUM_UNINDEXED = 8;

    std::span<const std::unique_ptr<Tree>> get_children() const noexcept {
        return std::span(children_).subspan(first_);
    }
    bool is_empty() const noexcept { return first_ == children_.size(); }

    /// The child called `name`, null if there is none. Allocates nothing, hashes the name at most once.
    Tree* find(std::string_view name) const noexcept;

    /// Makes room for one more child, so that the next `add` cannot fail.
    void reserve_one();

    /// Requires: room made by `reserve_one`, no child of that name
    void add(std::unique_ptr<Tree> child) noexcept;

    /// Takes out and returns the child called `name`, null if there is none. Costs a step for each child that
    /// stands before it or for each that stands behind it, whatever is less.
    std::unique_ptr<Tree> remove(std::string_view name) noexcept;

    /// Takes out and returns the children that `predicate` chooses, in their order. Costs a step for each
    /// child. Nothing is changed if the predicate throws or memory is short.
    std::vector<std::unique_ptr<Tree>> remove_if(const std::function<bool(const Tree&)>& predicate);

    /// Destroys the child that was added last. Nothing but further calls of this may follow: the table keeps
    /// pointing to it.
    /// Requires: not empty
    void destroy_last() noexcept { children_.pop_back(); }

private:
    struct Slot {
        Tree* child;  // null in a free slot
        std::uint32_t hash;
    };

    bool is_indexed() const noexcept { return !slots_.empty(); }
    std::size_t get_next(std::size_t position) const noexcept { return (position + 1) & (slots_.size() - 1); }
    std::size_t get_home(std::uint32_t hash) const noexcept { return hash & (slots_.size() - 1); }
    const Slot* find_slot(std::string_view name) const noexcept;
    void grow_table(std::size_t size);
    void insert(Slot slot) noexcept;
    void erase_slot(std::size_t position) noexcept;
    void erase_child(std::size_t position) noexcept;

    std::vector<Slot> slots_;  // empty while there are few children
    std::size_t first_ = 0;  // before it stand places of children that have been removed, at most half of all
    std::vector<std::unique_ptr<Tree>> children_;
};

}  // namespace kx::information_model::detail
