#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace xmlda {

/// Rows of cells, printed in columns with two blanks between them. A column without any text is left out. A
/// long cell, unless it is in the first column, makes its own row longer and not the column wider.
class Table {
public:
    /// @param cells  printable texts
    void add_row(std::vector<std::string> cells) { rows_.push_back(std::move(cells)); }

    /// The first row heads the columns: a column that has only that text is left out.
    void set_headed() { is_headed_ = true; }

    /// Makes columns at least as wide as `widths` says, and `widths` as wide as the columns.
    void keep_widths(std::vector<std::size_t>& widths);

    /// One line for each row, without blanks at its end.
    std::vector<std::string> to_lines() const;

    void print(std::ostream& stream) const;

private:
    std::vector<std::size_t> get_widths() const;
    bool is_empty(std::size_t column) const;

    std::vector<std::vector<std::string>> rows_;
    std::vector<std::size_t> least_widths_;
    bool is_headed_ = false;
};

}  // namespace xmlda
