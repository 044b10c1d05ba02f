#include "xmlda/commands/LiveTable.h"

#include "xmlda/print/Style.h"
#include "xmlda/print/Table.h"
#include "xmlda/print/clock_text.h"
#include "xmlda/text/printable.h"
#include "xmlda/text/width.h"

#include <algorithm>

namespace xmlda {
namespace {

constexpr char WIPE_BELOW[] = "\x1b[J";

}  // namespace

LiveTable::LiveTable(const Arguments& arguments, Console& console)
    : arguments_(arguments), console_(console), rows_(arguments.items.size()) {}

void LiveTable::show_change(std::size_t index, const ShownItem& item) {
    rows_[index] = {item, true};
    ++changes_;
}

void LiveTable::take_items(const std::vector<std::optional<std::size_t>>& origins) {
    std::vector<Row> rows(origins.size());
    for (std::size_t i = 0; i < origins.size(); ++i) {
        if (origins[i]) {
            rows[i] = std::move(rows_[*origins[i]]);
        }
    }
    rows_ = std::move(rows);
}

void LiveTable::end_reply() {
    draw();
    for (Row& row : rows_) {
        row.is_fresh = false;
    }
}

void LiveTable::make_way() {
    go_back();
    console_.get_output() << std::flush;
}

void LiveTable::come_back() {
    if (changes_ > 0) {
        draw();
    }
}

void LiveTable::end_interrupted() {
    console_.get_output() << '\n';  // ends the line with "^C"
}

void LiveTable::go_back() {
    std::ostream& stream = console_.get_output();
    if (height_ > 0) {
        stream << "\x1b[" << height_ << 'A';
    }
    stream << '\r' << WIPE_BELOW;
    height_ = 0;
}

void LiveTable::draw() {
    const std::vector<std::string> lines = get_lines();
    go_back();
    for (const std::string& line : lines) {
        console_.get_output() << line << '\n';
    }
    height_ = lines.size();
    console_.flush();
}

std::vector<std::string> LiveTable::get_lines() {
    const char* const changed = console_.get_style(style::CHANGED).empty() ? style::BOLD : style::CHANGED;
    Table table;
    table.add_row({"Item", "Value", "Time", "Quality", "Result"}, style::UNDERLINED);
    for (std::size_t i = 0; i < rows_.size(); ++i) {
        table.add_row(get_cells(i), rows_[i].is_fresh ? changed : "");
    }
    table.set_headed();
    table.keep_widths(widths_);

    const TerminalSize size = console_.get_size();
    std::vector<std::string> lines = table.to_lines(size.columns - 1);
    const std::size_t room = std::max<std::size_t>(size.rows, 4) - 2;  // below it the footer and the cursor
    if (lines.size() > room) {
        const std::size_t hidden = lines.size() - room + 1;
        lines.resize(room - 1);
        lines.push_back("and " + std::to_string(hidden) + " more that do not fit");
    }
    lines.push_back(cut_to_width(get_footer(), size.columns - 1));
    return lines;
}

std::vector<Cell> LiveTable::get_cells(std::size_t index) const {
    const std::string& name = arguments_.items[index].name;
    const auto& item = rows_[index].item;
    if (!item) {
        return {to_printable(name), "-"};
    }
    auto cells = to_cells_for_people(name, *item, arguments_.utc, console_);
    if (item->reply.has_error()) {
        cells[1] = "-";
    }
    return cells;
}

std::string LiveTable::get_footer() const {
    return std::to_string(changes_) + (changes_ == 1 ? " change" : " changes") + ", polled at " +
           get_clock() + ", Ctrl-C ends";
}

}  // namespace xmlda
