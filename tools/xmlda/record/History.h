#pragma once

#include "xmlda/print/item_output.h"
#include "xmlda/record/Database.h"

#include <cstdint>
#include <functional>
#include <limits>
#include <string>
#include <vector>

namespace xmlda {

/// A span of time, in nanoseconds since 1970: `from` belongs to it, `to` does not.
struct Span {
    std::int64_t from = std::numeric_limits<std::int64_t>::min();
    std::int64_t to = std::numeric_limits<std::int64_t>::max();
};

/// Reads what a `Recorder` has stored, while that is at work or not. All of it is read as it was when the
/// object was made.
class History {
public:
    /// An item of the record.
    struct Item {
        std::int64_t id = 0;
        ItemAddress address;
    };

    /// @throws Failure  FAILURE: the file cannot be used
    explicit History(const std::string& file);

    /// All items, in the order of their names.
    std::vector<Item> list_items() const;

    /// Gives the changes of items in a span, the oldest first; first of all those that the items had before,
    /// which hold at its beginning. The span counts when changes were recorded.
    /// @param items    of which changes are wanted
    /// @param action   gets the index of the item among them
    void walk(const std::vector<Item>& items, const Span& span,
              const std::function<void(std::size_t index, const ShownItem& item)>& action) const;

    /// What SQLite does to find the changes of a span.
    std::string explain_walk() const;

private:
    const Database database_;
};

}  // namespace xmlda
