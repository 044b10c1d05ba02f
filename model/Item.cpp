#include <information_model/Domain.h>
#include <information_model/Item.h>
#include <information_model/exceptions.h>

#include <string_view>
#include <utility>

#include "model/TreeLock.h"
#include "model/path_text.h"

namespace kx::information_model {

namespace {

const std::string& get_empty_text() noexcept {
    static const std::string EMPTY;
    return EMPTY;
}

/// Takes the first segment of a relative path off its front.
std::string_view take_segment(std::string_view& path) noexcept {
    const std::size_t length = path.find('/');
    const std::string_view segment = path.substr(0, length);
    path.remove_prefix(length == std::string_view::npos ? path.size() : length + 1);
    return segment;
}

const Variable* to_variable(const Item* item) noexcept {
    return item != nullptr && item->get_item_type() == ITEM_TYPE::VARIABLE
               ? static_cast<const Variable*>(item)
               : nullptr;
}

}  // namespace

Item::Item(std::string name, Domain* parent, ITEM_TYPE item_type, std::string description)
    : Tree(std::move(name), parent),
      description_(description.empty() ? nullptr
                                       : std::make_unique<const std::string>(std::move(description))),
      item_type_(item_type) {}

Item::~Item() = default;

const std::string& Item::get_description() const noexcept {
    return description_ ? *description_ : get_empty_text();
}

void Item::set_description(std::string description) {
    detail::check_lock(*this);
    description_ =
        description.empty() ? nullptr : std::make_unique<const std::string>(std::move(description));
}

const Item& Item::get_item(const Path& path, bool /*reserved*/) const {
    const Item* const item = find_item(path);
    if (item == nullptr) {
        throw PathNotFoundException(path.as_string());
    }
    return *item;
}

Item& Item::get_item(const Path& path, bool reserved) {
    return const_cast<Item&>(std::as_const(*this).get_item(path, reserved));
}

const Item* Item::find_item(std::string_view path) const {
    detail::check_path(path);
    return find_checked(path);
}

Item* Item::find_item(std::string_view path) {
    return const_cast<Item*>(std::as_const(*this).find_item(path));
}

const Item* Item::find_item(const Path& path) const noexcept {
    return find_checked(path.as_string());
}

Item* Item::find_item(const Path& path) noexcept {
    return const_cast<Item*>(std::as_const(*this).find_item(path));
}

const Variable* Item::find_variable(std::string_view path) const {
    return to_variable(find_item(path));
}

Variable* Item::find_variable(std::string_view path) {
    return const_cast<Variable*>(std::as_const(*this).find_variable(path));
}

const Variable* Item::find_variable(const Path& path) const noexcept {
    return to_variable(find_item(path));
}

Variable* Item::find_variable(const Path& path) noexcept {
    return const_cast<Variable*>(std::as_const(*this).find_variable(path));
}

const Item* Item::find_checked(std::string_view path) const noexcept {
    const Item* item = this;
    if (path.starts_with('/')) {
        item = &get_root_domain();
        path.remove_prefix(1);
    } else if (path == ".") {
        return this;
    } else if (path.starts_with("./")) {
        path.remove_prefix(2);
    }
    while (item != nullptr && !path.empty()) {
        const std::string_view name = take_segment(path);
        item = item->item_type_ == ITEM_TYPE::DOMAIN ? static_cast<const Domain*>(item)->find_child(name)
                                                     : nullptr;
    }
    return item;
}

}  // namespace kx::information_model
