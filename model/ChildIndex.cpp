#include "model/ChildIndex.h"

#include <algorithm>
#include <functional>
#include <utility>

namespace kx::information_model::detail {

namespace {

std::uint32_t get_hash(std::string_view name) noexcept {
    return static_cast<std::uint32_t>(std::hash<std::string_view>()(name));
}

bool is_called(const Tree& child, std::string_view name) noexcept {
    return child.get_name().as_string() == name;
}

}  // namespace

Tree* ChildIndex::find(std::string_view name) const noexcept {
    if (is_indexed()) {
        const Slot* slot = find_slot(name);
        return slot == nullptr ? nullptr : slot->child;
    }
    const auto children = get_children();
    const auto found = std::find_if(children.begin(), children.end(),
                                    [name](const auto& child) { return is_called(*child, name); });
    return found == children.end() ? nullptr : found->get();
}

void ChildIndex::reserve_one() {
    const std::size_t count = get_children().size() + 1;
    if (children_.size() == children_.capacity()) {
        children_.reserve(std::max<std::size_t>(4, 2 * children_.capacity()));
    }
    if (count > MAXIMUM_UNINDEXED && 4 * count > 3 * slots_.size()) {
        grow_table(std::max<std::size_t>(4 * MAXIMUM_UNINDEXED, 2 * slots_.size()));
    }
}

void ChildIndex::add(std::unique_ptr<Tree> child) noexcept {
    if (is_indexed()) {
        insert({child.get(), get_hash(child->get_name().as_string())});
    }
    children_.push_back(std::move(child));
}

std::unique_ptr<Tree> ChildIndex::remove(std::string_view name) noexcept {
    const Tree* child = find(name);
    if (child == nullptr) {
        return nullptr;
    }
    if (is_indexed()) {
        erase_slot(static_cast<std::size_t>(find_slot(name) - slots_.data()));
    }
    // From both ends, because it is there that children are removed most.
    std::size_t front = first_;
    std::size_t back = children_.size() - 1;
    while (children_[front].get() != child && children_[back].get() != child) {
        ++front;
        --back;
    }
    const std::size_t position = children_[front].get() == child ? front : back;
    std::unique_ptr<Tree> removed = std::move(children_[position]);
    erase_child(position);
    return removed;
}

std::vector<std::unique_ptr<Tree>> ChildIndex::remove_if(const std::function<bool(const Tree&)>& predicate) {
    std::vector<bool> choice(children_.size());
    std::size_t count = 0;
    for (std::size_t i = first_; i < children_.size(); ++i) {
        choice[i] = predicate(*children_[i]);
        count += choice[i] ? 1U : 0U;
    }
    std::vector<std::unique_ptr<Tree>> removed;
    removed.reserve(count);

    // From here on nothing fails.
    std::size_t end = 0;
    for (std::size_t i = first_; i < children_.size(); ++i) {
        if (!choice[i]) {
            children_[end++] = std::move(children_[i]);
            continue;
        }
        if (is_indexed()) {
            const std::string& name = children_[i]->get_name();
            erase_slot(static_cast<std::size_t>(find_slot(name) - slots_.data()));
        }
        removed.push_back(std::move(children_[i]));
    }
    children_.erase(children_.begin() + static_cast<std::ptrdiff_t>(end), children_.end());
    first_ = 0;
    return removed;
}

const ChildIndex::Slot* ChildIndex::find_slot(std::string_view name) const noexcept {
    const std::uint32_t hash = get_hash(name);
    for (std::size_t position = get_home(hash); slots_[position].child != nullptr;
         position = get_next(position)) {
        if (slots_[position].hash == hash && is_called(*slots_[position].child, name)) {
            return &slots_[position];
        }
    }
    return nullptr;
}

void ChildIndex::grow_table(std::size_t size) {
    std::vector<Slot> old_slots(size);
    old_slots.swap(slots_);
    if (old_slots.empty()) {
        for (const auto& child : get_children()) {
            insert({child.get(), get_hash(child->get_name().as_string())});
        }
    }
    for (const Slot& slot : old_slots) {
        if (slot.child != nullptr) {
            insert(slot);
        }
    }
}

void ChildIndex::insert(Slot slot) noexcept {
    std::size_t position = get_home(slot.hash);
    while (slots_[position].child != nullptr) {
        position = get_next(position);
    }
    slots_[position] = slot;
}

void ChildIndex::erase_slot(std::size_t position) noexcept {
    const std::size_t mask = slots_.size() - 1;
    std::size_t hole = position;
    // Moves the slots behind into the hole, except those that it would put before their home.
    for (std::size_t next = get_next(hole); slots_[next].child != nullptr; next = get_next(next)) {
        const std::size_t distance_from_home = (next - get_home(slots_[next].hash)) & mask;
        if (distance_from_home >= ((next - hole) & mask)) {
            slots_[hole] = slots_[next];
            hole = next;
        }
    }
    slots_[hole] = {};
}

/// Closes the gap at `position` by moving what stands on its shorter side.
void ChildIndex::erase_child(std::size_t position) noexcept {
    const auto place = children_.begin() + static_cast<std::ptrdiff_t>(position);
    if (position - first_ >= children_.size() - position) {
        children_.erase(place);
        return;
    }
    const auto first = children_.begin() + static_cast<std::ptrdiff_t>(first_);
    std::move_backward(first, place, std::next(place));
    ++first_;
    if (first_ > children_.size() / 2) {
        children_.erase(children_.begin(), std::next(first));
        first_ = 0;
    }
}

}  // namespace kx::information_model::detail
