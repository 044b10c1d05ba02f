#include "xmlda/print/Table.h"

#include "xmlda/text/width.h"

#include <algorithm>

namespace xmlda {
namespace {

constexpr std::size_t GAP = 2;
constexpr std::size_t WIDEST = 32;

}  // namespace

void Table::keep_widths(std::vector<std::size_t>& widths) {
    least_widths_ = widths;
    widths = get_widths();
    least_widths_ = widths;
}

std::vector<std::string> Table::to_lines() const {
    const std::vector<std::size_t> widths = get_widths();
    std::vector<std::string> lines;
    for (const auto& row : rows_) {
        std::string line;
        for (std::size_t i = 0; i < row.size(); ++i) {
            if (widths[i] > 0) {
                line += pad_to_width(row[i], widths[i]) + std::string(GAP, ' ');
            }
        }
        line.resize(line.find_last_not_of(' ') + 1);
        lines.push_back(std::move(line));
    }
    return lines;
}

void Table::print(std::ostream& stream) const {
    for (const std::string& line : to_lines()) {
        stream << line << '\n';
    }
}

std::vector<std::size_t> Table::get_widths() const {
    std::vector<std::size_t> widths = least_widths_;
    for (const auto& row : rows_) {
        widths.resize(std::max(widths.size(), row.size()));
    }
    for (std::size_t i = 0; i < widths.size(); ++i) {
        for (const auto& row : rows_) {
            if (i < row.size() && !is_empty(i)) {
                const std::size_t width = get_width(row[i]);
                widths[i] = std::max(widths[i], i == 0 ? width : std::min(width, WIDEST));
            }
        }
    }
    return widths;
}

bool Table::is_empty(std::size_t column) const {
    const auto first = rows_.begin() + (is_headed_ && !rows_.empty() ? 1 : 0);
    return std::all_of(first, rows_.end(),
                       [column](const auto& row) { return column >= row.size() || row[column].empty(); });
}

}  // namespace xmlda
