#include "xmlda/print/Table.h"

#include "xmlda/print/Style.h"
#include "xmlda/text/width.h"

#include <algorithm>
#include <array>

namespace xmlda {
namespace {

constexpr std::size_t GAP = 2;
constexpr std::size_t WIDEST = 32;
constexpr std::size_t NAMES = 0;  // the column

/// How narrow a column may become, before those that come later in the list must.
struct Limit {
    std::size_t column;
    std::size_t narrowest;
};

/// Values and qualities first as long as they stay readable, then names, then the first two again. Times are
/// never cut.
constexpr std::array<Limit, 7> LIMITS = {{{1, 16}, {3, 16}, {4, 16}, {NAMES, 24}, {3, 8}, {4, 8}, {1, 8}}};

/// Makes columns narrower until they fit, or are as narrow as they may be.
void fit(std::vector<std::size_t>& widths, std::size_t width) {
    std::size_t sum = 0;
    for (const std::size_t column : widths) {
        sum += column > 0 ? column + GAP : 0;
    }
    sum -= std::min(sum, GAP);
    for (const auto& [column, narrowest] : LIMITS) {
        if (sum > width && column < widths.size() && widths[column] > narrowest) {
            const std::size_t less = std::min(sum - width, widths[column] - narrowest);
            widths[column] -= less;
            sum -= less;
        }
    }
}

/// Names differ at their ends.
std::string cut(const std::string& text, std::size_t column, std::size_t width) {
    return column == NAMES ? cut_front_to_width(text, width) : cut_to_width(text, width);
}

/// Builds one line from the left to the right.
class Line {
public:
    Line(std::size_t width, const std::string& style) : room_(width), style_(style), text_(style) {}

    void add(const Cell& cell, std::size_t width) {
        const std::string shown = cut_to_width(cell.text, room_ - std::min(room_, gap_));
        if (shown.empty()) {
            gap_ += width + GAP;
            return;
        }
        text_.append(gap_, ' ');
        text_ += cell.style.empty() ? shown : cell.style + shown + style::PLAIN + style_;
        const std::size_t used = get_width(shown);
        room_ -= gap_ + used;
        gap_ = width - std::min(width, used) + GAP;
    }

    std::string get() const { return style_.empty() ? text_ : text_ + style::PLAIN; }

private:
    std::size_t room_;
    const std::string& style_;
    std::string text_;
    std::size_t gap_ = 0;  // blanks in front of the next text
};

}  // namespace

void Table::keep_widths(std::vector<std::size_t>& widths) {
    least_widths_ = widths;
    widths = get_widths(WIDEST);
    least_widths_ = widths;
}

std::vector<std::string> Table::to_lines(std::size_t width) const {
    std::vector<std::size_t> widths = get_widths(width == ANY_WIDTH ? WIDEST : width);
    fit(widths, width);
    std::vector<std::string> lines;
    for (const Row& row : rows_) {
        Line line(width, row.style);
        for (std::size_t i = 0; i < row.cells.size(); ++i) {
            if (widths[i] > 0) {
                const Cell& cell = row.cells[i];
                line.add(width == ANY_WIDTH ? cell : Cell(cut(cell.text, i, widths[i]), cell.style),
                         widths[i]);
            }
        }
        lines.push_back(line.get());
    }
    return lines;
}

void Table::print(std::ostream& stream, std::size_t width) const {
    for (const std::string& line : to_lines(width)) {
        stream << line << '\n';
    }
}

std::vector<std::size_t> Table::get_widths(std::size_t widest) const {
    std::vector<std::size_t> widths = least_widths_;
    for (const Row& row : rows_) {
        widths.resize(std::max(widths.size(), row.cells.size()));
    }
    for (std::size_t i = 0; i < widths.size(); ++i) {
        for (const Row& row : rows_) {
            if (i < row.cells.size() && !is_empty(i)) {
                const std::size_t width = get_width(row.cells[i].text);
                widths[i] = std::max(widths[i], i == 0 ? width : std::min(width, widest));
            }
        }
    }
    return widths;
}

bool Table::is_empty(std::size_t column) const {
    const auto first = rows_.begin() + (is_headed_ && !rows_.empty() ? 1 : 0);
    return std::all_of(first, rows_.end(), [column](const Row& row) {
        return column >= row.cells.size() || row.cells[column].text.empty();
    });
}

}  // namespace xmlda
