#include "xmlda/commands/LiveTable.h"

#include "xmlda/print/Table.h"
#include "xmlda/print/item_output.h"
#include "xmlda/text/printable.h"
#include "xmlda/text/width.h"

#include <algorithm>
#include <array>
#include <ctime>

namespace xmlda {
namespace {

constexpr char BOLD[] = "\x1b[1m";
constexpr char UNDERLINED[] = "\x1b[4m";
constexpr char PLAIN[] = "\x1b[0m";
constexpr std::size_t WIDEST_VALUE = 32;
constexpr char WIPE_BELOW[] = "\x1b[J";

std::string get_clock() {
    const std::time_t now = std::time(nullptr);
    std::tm parts = {};
    ::localtime_r(&now, &parts);
    std::array<char, 16> text;
    return {text.data(), std::strftime(text.data(), text.size(), "%H:%M:%S", &parts)};
}

std::vector<std::string> to_row(const std::string& name, const std::optional<ItemReply>& item) {
    if (!item) {
        return {to_printable(name), "-"};
    }
    return {to_printable(name), item->has_error() ? "-" : cut_to_width(get_value_text(*item), WIDEST_VALUE),
            to_printable(item->timestamp.value_or("")), get_quality_text(*item),
            item->result ? to_printable(item->result->to_text()) : ""};
}

}  // namespace

LiveTable::LiveTable(const Arguments& arguments, Console& console)
    : arguments_(arguments), console_(console), rows_(arguments.items.size()) {}

void LiveTable::show_change(std::size_t index, const ItemReply& item) {
    rows_[index] = {item, true};
    ++changes_;
}

void LiveTable::end_reply() {
    draw();
    for (Row& row : rows_) {
        row.is_fresh = false;
    }
}

void LiveTable::make_way() {
    height_ = 0;  // the table stays where it is, the next one is drawn below
}

void LiveTable::end_interrupted() {
    console_.get_output() << '\n';  // ends the line with "^C"
}

void LiveTable::draw() {
    std::ostream& stream = console_.get_output();
    if (height_ > 0) {
        stream << "\x1b[" << height_ << 'A';
    }
    const std::vector<std::string> lines = get_lines();
    stream << '\r' << WIPE_BELOW;
    for (const std::string& line : lines) {
        stream << line << '\n';
    }
    height_ = lines.size();
    console_.flush();
}

std::vector<std::string> LiveTable::get_lines() {
    Table table;
    table.add_row({"Item", "Value", "Timestamp", "Quality", "Result"});
    for (std::size_t i = 0; i < rows_.size(); ++i) {
        table.add_row(to_row(arguments_.items[i].name, rows_[i].item));
    }
    table.set_headed();
    table.keep_widths(widths_);

    const TerminalSize size = console_.get_size();
    std::vector<std::string> lines = table.to_lines();
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const char* const style = i == 0 ? UNDERLINED : rows_[i - 1].is_fresh ? BOLD : "";
        lines[i] = style + cut_to_width(lines[i], size.columns - 1) + (*style == '\0' ? "" : PLAIN);
    }
    const std::size_t room = std::max<std::size_t>(size.rows, 4) - 2;  // below it the footer and the cursor
    if (lines.size() > room) {
        const std::size_t hidden = lines.size() - room + 1;
        lines.resize(room - 1);
        lines.push_back("and " + std::to_string(hidden) + " more that do not fit here");
    }
    lines.push_back(cut_to_width(get_footer(), size.columns - 1));
    return lines;
}

std::string LiveTable::get_footer() const {
    return std::to_string(changes_) + (changes_ == 1 ? " change" : " changes") + ", polled at " +
           get_clock() + ", Ctrl-C ends";
}

}  // namespace xmlda
