#include <information_model/Domain.h>
#include <information_model/Tree.h>

#include <stdexcept>
#include <utility>

#include "model/TreeLock.h"
#include "model/quoted_text.h"

namespace kx::information_model {

Tree::Tree(std::string name, Domain* parent) : parent_(parent), name_(std::move(name)) {}

Tree::~Tree() = default;

Path Tree::get_path() const {
    std::size_t length = 0;
    for (const Tree* node = this; node->parent_ != nullptr; node = node->parent_) {
        length += 1 + node->name_.as_string().size();
    }
    if (length == 0) {
        return Path("/", Path::Trusted());
    }
    std::string text(length, '/');
    std::size_t end = length;
    for (const Tree* node = this; node->parent_ != nullptr; node = node->parent_) {
        const std::string& name = node->name_.as_string();
        text.replace(end - name.size(), name.size(), name);
        end -= name.size() + 1;
    }
    return Path(std::move(text), Path::Trusted());
}

void Tree::lock() {
    get_tree_lock().lock();
}

bool Tree::try_lock() {
    return get_tree_lock().try_lock();
}

bool Tree::try_lock_until_steady(SteadyTime deadline) {
    return get_tree_lock().try_lock_until(deadline);
}

bool Tree::try_lock_shared_until_steady(SteadyTime deadline) const {
    return get_tree_lock().try_lock_shared_until(deadline);
}

void Tree::unlock() {
    get_tree_lock().unlock();
}

void Tree::lock_shared() const {
    get_tree_lock().lock_shared();
}

bool Tree::try_lock_shared() const {
    return get_tree_lock().try_lock_shared();
}

void Tree::unlock_shared() const {
    get_tree_lock().unlock_shared();
}

const Domain& Tree::get_root_domain() const noexcept {
    const Tree* node = this;
    while (node->parent_ != nullptr) {
        node = node->parent_;
    }
    return static_cast<const Domain&>(*node);
}

detail::TreeLock& Tree::get_tree_lock() const noexcept {
    return *get_root_domain().tree_lock_;
}

void detail::check_lock(const Tree& node) {
    if (checked_trees.load(std::memory_order_relaxed) != 0 && node.get_tree_lock().is_violated()) {
        throw std::logic_error("change of " + quoted_text(node.get_path().as_string()) +
                               " without the exclusive lock of its tree");
    }
}

}  // namespace kx::information_model
