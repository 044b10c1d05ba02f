#pragma once

#include "xmlda/Arguments.h"
#include "xmlda/print/Console.h"
#include "xmlda/print/item_output.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <vector>

namespace xmlda {

/// Shows what happens to watched items.
class WatchView {
public:
    virtual ~WatchView() = default;

    /// An item has changed, or is seen for the first time.
    /// @param index  of the item in the arguments
    virtual void show_change(std::size_t index, const ShownItem& item) = 0;

    /// The items of the arguments are others from now on.
    /// @param origins  for each of them the index that it had; nothing if it is new
    virtual void take_items(const std::vector<std::optional<std::size_t>>& origins) = 0;

    /// Everything that one reply brought has been shown.
    virtual void end_reply() = 0;

    /// Something else is going to be printed on the same terminal, up to `come_back`.
    virtual void make_way() = 0;
    virtual void come_back() = 0;

    /// Ctrl-C was pressed, and the terminal has shown it.
    virtual void end_interrupted() {}
};

/// The view that suits: the format that the arguments ask for, else a table that is drawn over on a terminal,
/// else a line for each change; of record one that records. Arguments and console outlive it.
std::unique_ptr<WatchView> create_watch_view(const Arguments& arguments, Console& console);

/// Changes as the arguments ask for, one behind the other.
std::unique_ptr<WatchView> create_lines(const Arguments& arguments, Console& console);

}  // namespace xmlda
