#include <information_model/Domain.h>

#include <stdexcept>
#include <utility>

#include "model/ChildIndex.h"
#include "model/Observers.h"
#include "model/TreeLock.h"
#include "model/quoted_text.h"
#include "model/value_types.h"

namespace kx::information_model {

Domain::Domain(std::string name, Domain* parent, DomainOptions options)
    : Item(std::move(name), parent, ITEM_TYPE::DOMAIN, std::move(options.description)),
      tree_lock_(parent == nullptr ? std::make_unique<detail::TreeLock>() : nullptr),
      identity_(std::move(options.identity)),
      pattern_type_(std::move(options.pattern_type)) {}

// Goes down to the last leaf and back by the parents, so that neither the stack nor a container grows with
// the depth of the tree.
Domain::~Domain() {
    Domain* domain = this;
    while (true) {
        if (domain->is_empty()) {
            if (domain == this) {
                return;
            }
            domain = domain->get_parent();
            domain->children_->destroy_last();
            continue;
        }
        auto& last = static_cast<Item&>(*domain->get_children().back());
        if (last.get_item_type() == ITEM_TYPE::DOMAIN) {
            domain = static_cast<Domain*>(&last);
        } else {
            domain->children_->destroy_last();
        }
    }
}

Domain& Domain::add_domain(std::string name, DomainOptions options) {
    detail::check_lock(*this);
    prepare_child(name);
    std::unique_ptr<Domain> child(new Domain(std::move(name), this, std::move(options)));
    Domain& added = *child;
    children_->add(std::move(child));
    return added;
}

Variable& Domain::add_variable(std::string name, Value initial, VariableOptions options) {
    detail::check_lock(*this);
    prepare_child(name);
    std::unique_ptr<Variable> child(
        new Variable(std::move(name), this, std::move(initial), std::move(options)));
    Variable& added = *child;
    children_->add(std::move(child));
    return added;
}

Registration Domain::on_change(Variable::Callback callback) {
    detail::check_lock(*this);
    return Registration(get_observers().add(detail::Observers::Kind::CHANGED, std::move(callback)));
}

Registration Domain::on_write(Variable::Callback callback) {
    detail::check_lock(*this);
    return Registration(get_observers().add(detail::Observers::Kind::WRITTEN, std::move(callback)));
}

void Domain::remove(const std::string& name) {
    detail::check_lock(*this);
    if (!children_ || !children_->remove(name)) {
        throw std::invalid_argument("No such child: " + detail::quoted_text(name));
    }
}

void Domain::clear() {
    detail::check_lock(*this);
    children_.reset();
}

std::size_t Domain::remove_if(const std::function<bool(const Item&)>& predicate) {
    detail::check_lock(*this);
    if (!children_) {
        return 0;
    }
    return children_
        ->remove_if([&predicate](const Tree& child) { return predicate(static_cast<const Item&>(child)); })
        .size();
}

const Identity& Domain::get_identity() const noexcept {
    static const Identity EMPTY{std::string()};
    return identity_ ? *identity_ : EMPTY;
}

bool Domain::has_identity() const noexcept {
    return identity_.has_value();
}

const pattern_type::PatternType& Domain::get_pattern_type() const noexcept {
    return pattern_type_;
}

bool Domain::is_empty() const noexcept {
    return !children_ || children_->is_empty();
}

std::span<const std::unique_ptr<Tree>> Domain::get_children() const noexcept {
    if (!children_) {
        return {};
    }
    return children_->get_children();
}

Item* Domain::find_child(std::string_view name) const noexcept {
    return children_ ? static_cast<Item*>(children_->find(name)) : nullptr;
}

void Domain::prepare_child(std::string_view name) {
    if (!is_valid_segment(name)) {
        throw std::invalid_argument("Invalid name: " + detail::quoted_text(name));
    }
    if (!children_) {
        children_ = std::make_unique<detail::ChildIndex>();
    }
    if (children_->find(name) != nullptr) {
        throw std::invalid_argument("Name already taken: " + detail::quoted_text(name));
    }
    children_->reserve_one();
}

void Domain::check_limits(const std::string& name, VALUE_TYPE type, const VariableOptions& options) {
    const std::string variable = "variable " + detail::quoted_text(name);
    detail::check_limit("lower limit", options.range.lower, variable, type);
    detail::check_limit("upper limit", options.range.upper, variable, type);
    detail::check_limit("delta", options.delta, variable, type);
}

detail::Observers& Domain::get_observers() {
    if (!observers_) {
        observers_ = std::make_unique<detail::Observers>();
    }
    return *observers_;
}

}  // namespace kx::information_model
