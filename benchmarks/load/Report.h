#pragma once

#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kx::benchmarks {

/// One line of the table: a value for each column of its section, where there is one.
struct Row {
    std::string name;
    std::vector<std::optional<double>> values;
};

/// A part of the table, with columns of its own.
struct Section {
    std::string title;
    std::string key;  ///< name of the column that is compared between runs
    std::vector<std::string> columns;
    std::vector<Row> rows;

    /// Empty if there is no such row or column, or no value there.
    std::optional<double> find(std::string_view row, std::string_view column) const;
};

/// What a run found. A plain value.
struct Report {
    std::vector<std::string> notes;  ///< lines on machine and circumstances
    std::vector<Section> sections;

    /// Null if there is no such section.
    const Section* find(std::string_view title) const;
    Section* find(std::string_view title);
    /// As `Section::find`; empty as well if there is no such section.
    std::optional<double> find(std::string_view title, std::string_view row, std::string_view column) const;
};

/// Prints the notes and the table.
void print(const Report& report, std::ostream& stream);

/// Puts two runs side by side: for every row that both have, the value of the section's key column before and
/// now, their ratio, and the ratio of what both are in terms of the floor of their run, which a change of the
/// machine's speed does not touch.
Report compare(const Report& before, const Report& now);

std::string to_json(const Report& report);

/// Reads what `to_json` wrote, or the report of a Google Benchmark program, whose benchmarks become one
/// section called "The parts alone".
/// @throws std::exception  if it is neither
Report from_json(const std::string& text);

}  // namespace kx::benchmarks
