#pragma once

#include "xmlda/commands/WatchView.h"

#include <optional>
#include <string>
#include <vector>

namespace xmlda {

/// A table of all watched items that is drawn over at the same place of a terminal. What the latest reply
/// changed is bold. It never takes more lines than the terminal has, nor wider ones.
class LiveTable : public WatchView {
public:
    LiveTable(const Arguments& arguments, Console& console);

    void show_change(std::size_t index, const ShownItem& item) override;
    void take_items(const std::vector<std::optional<std::size_t>>& origins) override;
    void end_reply() override;
    void make_way() override;
    void come_back() override;
    void end_interrupted() override;

private:
    struct Row {
        std::optional<ShownItem> item;
        bool is_fresh = false;  // changed by the latest reply
    };

    /// Goes back to where the table begins, and wipes what is there and below.
    void go_back();
    void draw();
    std::vector<Cell> get_cells(std::size_t index) const;
    std::vector<std::string> get_lines();
    std::string get_footer() const;

    const Arguments& arguments_;
    Console& console_;
    std::vector<Row> rows_;            // for each item of the arguments
    std::vector<std::size_t> widths_;  // of the columns, never getting smaller, so that nothing jumps
    std::size_t changes_ = 0;
    std::size_t height_ = 0;  // of what was drawn and can be drawn over
};

}  // namespace xmlda
