#include <information_model/Domain.h>
#include <information_model/Item.h>
#include <information_model/exceptions.h>

#include <string_view>
#include <utility>

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

const Item& Item::get_item(const Path& path, bool /*reserved*/) const {
    std::string_view rest = path.as_string();
    const Item* item = this;
    if (rest.starts_with('/')) {
        item = &get_root_domain();
        rest.remove_prefix(1);
    } else if (rest == ".") {
        return *this;
    } else if (rest.starts_with("./")) {
        rest.remove_prefix(2);
    }
    while (!rest.empty()) {
        const std::string_view name = take_segment(rest);
        item = item->item_type_ == ITEM_TYPE::DOMAIN ? static_cast<const Domain*>(item)->find_child(name)
                                                     : nullptr;
        if (item == nullptr) {
            throw PathNotFoundException(path.as_string());
        }
    }
    return *item;
}

Item& Item::get_item(const Path& path, bool reserved) {
    return const_cast<Item&>(std::as_const(*this).get_item(path, reserved));
}

}  // namespace kx::information_model
