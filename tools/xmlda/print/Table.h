#pragma once

#include <limits>
#include <ostream>
#include <string>
#include <vector>

namespace xmlda {

/// A text in a table, and how it stands out.
struct Cell {
    Cell(std::string printable) : text(std::move(printable)) {}
    Cell(const char* printable) : text(printable) {}
    Cell(std::string printable, std::string how) : text(std::move(printable)), style(std::move(how)) {}

    std::string text;   ///< printable
    std::string style;  ///< one of Style.h, or empty
};

/// Rows of cells, printed in columns with two blanks between them. A column without any text is left out. A
/// long cell, unless it is in the first column, makes its own row longer and not the column wider.
class Table {
public:
    static constexpr std::size_t ANY_WIDTH = std::numeric_limits<std::size_t>::max();

    /// @param style  of the whole row, see `Cell::style`
    void add_row(std::vector<Cell> cells, std::string style = "") {
        rows_.push_back({std::move(cells), std::move(style)});
    }

    /// The first row heads the columns: a column that has only that text is left out.
    void set_headed() { is_headed_ = true; }

    /// Makes columns at least as wide as `widths` says, and `widths` as wide as the columns.
    void keep_widths(std::vector<std::size_t>& widths);

    /// One line for each row, without blanks at its end. Where the columns do not fit into `width`, values
    /// (the second one), qualities and results (the fourth and the fifth) and names (the first) are made
    /// narrower, and then the ends of lines are cut off; "..." stands for what is missing.
    std::vector<std::string> to_lines(std::size_t width = ANY_WIDTH) const;

    void print(std::ostream& stream, std::size_t width = ANY_WIDTH) const;

private:
    struct Row {
        std::vector<Cell> cells;
        std::string style;
    };

    /// @param widest  how wide a column may be for the sake of one cell, but for the first
    std::vector<std::size_t> get_widths(std::size_t widest) const;
    bool is_empty(std::size_t column) const;

    std::vector<Row> rows_;
    std::vector<std::size_t> least_widths_;
    bool is_headed_ = false;
};

}  // namespace xmlda
