#pragma once

#include <information_model/Item.h>

#include <compare>
#include <cstddef>
#include <iterator>
#include <memory>
#include <span>

namespace kx::information_model {

/// The children of a domain, in their order: `for (Item& item : domain.items())`. A view: valid until a child
/// is added or removed.
/// @tparam ItemType  `Item`, or `const Item` for a domain that may only be read
template <class ItemType>
class ItemRange {
public:
    /// Walks over the children.
    class Iterator {
    public:
        /// @cond
        using iterator_category = std::random_access_iterator_tag;
        using value_type = ItemType;
        using difference_type = std::ptrdiff_t;
        using pointer = ItemType*;
        using reference = ItemType&;

        Iterator() = default;
        explicit Iterator(const std::unique_ptr<Tree>* place) : place_(place) {}

        ItemType& operator*() const { return static_cast<ItemType&>(**place_); }
        ItemType* operator->() const { return &**this; }
        ItemType& operator[](difference_type distance) const { return *(*this + distance); }

        Iterator& operator++() { return *this += 1; }
        Iterator& operator--() { return *this += -1; }
        Iterator operator++(int) {
            const Iterator before = *this;
            ++*this;
            return before;
        }
        Iterator operator--(int) {
            const Iterator before = *this;
            --*this;
            return before;
        }
        Iterator& operator+=(difference_type distance) {
            place_ += distance;
            return *this;
        }
        Iterator& operator-=(difference_type distance) { return *this += -distance; }

        friend Iterator operator+(Iterator iterator, difference_type distance) {
            return iterator += distance;
        }
        friend Iterator operator+(difference_type distance, Iterator iterator) {
            return iterator += distance;
        }
        friend Iterator operator-(Iterator iterator, difference_type distance) {
            return iterator -= distance;
        }
        friend difference_type operator-(Iterator left, Iterator right) { return left.place_ - right.place_; }
        friend bool operator==(Iterator, Iterator) = default;
        friend auto operator<=>(Iterator, Iterator) = default;
        /// @endcond

    private:
        const std::unique_ptr<Tree>* place_ = nullptr;
    };

    /// No children.
    ItemRange() = default;
    /// @param children  each an `Item`
    explicit ItemRange(std::span<const std::unique_ptr<Tree>> children) : children_(children) {}

    /// The first child.
    Iterator begin() const { return Iterator(children_.data()); }
    /// Behind the last child.
    Iterator end() const { return Iterator(children_.data() + children_.size()); }

    /// How many children there are.
    std::size_t size() const { return children_.size(); }
    /// Whether there are none.
    bool empty() const { return children_.empty(); }
    /// The child at a position; requires that there is one.
    ItemType& operator[](std::size_t position) const { return static_cast<ItemType&>(*children_[position]); }

private:
    std::span<const std::unique_ptr<Tree>> children_;
};

}  // namespace kx::information_model
