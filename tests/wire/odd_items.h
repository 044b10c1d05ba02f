#pragma once

#include <information_model/Domain.h>
#include <information_model/Item.h>
#include <information_model/Tree.h>

#include <memory>

/// Trees that no host can build, to see what the services make of them.
namespace kx::information_model::opc::testing {

namespace detail {

ITEM_TYPE& get_item_type_member(Item& item);

// An explicit instantiation may name private members.
template <auto MEMBER>
struct ItemTypeAccess {
    friend ITEM_TYPE& get_item_type_member(Item& item) { return item.*MEMBER; }
};
template struct ItemTypeAccess<&Item::item_type_>;

}  // namespace detail

/// While it lives, an item is neither a domain nor a variable.
class ItemOfUnknownType {
public:
    explicit ItemOfUnknownType(Item& item) : item_(item), original_(item.get_item_type()) {
        detail::get_item_type_member(item_) = static_cast<ITEM_TYPE>(2);
    }
    ItemOfUnknownType(const ItemOfUnknownType&) = delete;
    ItemOfUnknownType& operator=(const ItemOfUnknownType&) = delete;
    ~ItemOfUnknownType() { detail::get_item_type_member(item_) = original_; }

private:
    Item& item_;
    ITEM_TYPE original_;
};

/// While it lives, the first child of a domain is a node that is no item.
class ChildThatIsNoItem {
public:
    explicit ChildThatIsNoItem(Domain& domain)
        : place_(const_cast<std::unique_ptr<Tree>&>(domain.get_children().front())),
          original_(std::make_unique<BareNode>(domain)) {
        place_.swap(original_);
    }
    ChildThatIsNoItem(const ChildThatIsNoItem&) = delete;
    ChildThatIsNoItem& operator=(const ChildThatIsNoItem&) = delete;
    ~ChildThatIsNoItem() { place_.swap(original_); }

private:
    struct BareNode : Tree {
        explicit BareNode(Domain& parent) : Tree("bare", &parent) {}
    };

    std::unique_ptr<Tree>& place_;
    std::unique_ptr<Tree> original_;
};

}  // namespace kx::information_model::opc::testing
