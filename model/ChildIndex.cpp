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
    const auto found = std::find_if(children_.begin(), children_.end(),
                                    [name](const auto& child) { return is_called(*child, name); });
    return found == children_.end() ? nullptr : found->get();
}

void ChildIndex::reserve_one() {
    const std::size_t count = children_.size() + 1;
    if (count > children_.capacity()) {
        children_.reserve(std::max<std::size_t>(4, 2 * children_.capacity()));
    }
    if (count > MAX_UNINDEXED && 4 * count > 3 * slots_.size()) {
        grow_table(std::max<std::size_t>(4 * MAX_UNINDEXED, 2 * slots_.size()));
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
    const auto found = std::find_if(children_.rbegin(), children_.rend(),
                                    [child](const auto& other) { return other.get() == child; });
    std::unique_ptr<Tree> removed = std::move(*found);
    children_.erase(std::next(found).base());
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
        for (const auto& child : children_) {
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

}  // namespace kx::information_model::detail
