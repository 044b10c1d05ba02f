#include "load/Report.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ostream>

namespace kx::benchmarks {

namespace {

constexpr std::size_t VALUE_WIDTH = 12;

/// Whole numbers as they are, others with about four digits that count.
std::string format(const std::optional<double>& value) {
    if (!value) {
        return "-";
    }
    const double size = std::abs(*value);
    const bool whole = std::floor(*value) == *value;
    const int digits = whole || size >= 1000 ? 0 : size >= 100 ? 1 : size >= 10 ? 2 : 3;
    std::string text(32, '\0');
    text.resize(static_cast<std::size_t>(std::snprintf(text.data(), text.size(), "%.*f", digits, *value)));
    return text;
}

std::string pad_left(const std::string& text, std::size_t width) {
    return std::string(width - std::min(width, text.size()), ' ') + text;
}

std::size_t get_name_width(const Report& report) {
    std::size_t width = 0;
    for (const Section& section : report.sections) {
        width = std::max(width, section.title.size());
        for (const Row& row : section.rows) {
            width = std::max(width, row.name.size() + 2);
        }
    }
    return width;
}

void print_line(std::ostream& stream, const std::string& name, std::size_t width,
                const std::vector<std::string>& cells) {
    stream << name << std::string(width - name.size(), ' ');
    for (const std::string& cell : cells) {
        stream << ' ' << pad_left(cell, VALUE_WIDTH);
    }
    stream << '\n';
}

void print_section(std::ostream& stream, const Section& section, std::size_t width) {
    print_line(stream, section.title, width, section.columns);
    for (const Row& row : section.rows) {
        std::vector<std::string> cells;
        for (const auto& value : row.values) {
            cells.push_back(format(value));
        }
        print_line(stream, "  " + row.name, width, cells);
    }
}

std::optional<double> divide(const std::optional<double>& dividend, const std::optional<double>& divisor) {
    return dividend && divisor && *divisor != 0 ? std::optional(*dividend / *divisor) : std::nullopt;
}

std::optional<double> find_in_floors(const Section& section, const std::string& row) {
    return divide(section.find(row, section.key), section.find(row, "floor us"));
}

Section compare(const Section& before, const Section& now) {
    Section result{now.title + ": " + now.key, "now", {"before", "now", "now/before", "in floors"}, {}};
    for (const Row& row : now.rows) {
        const auto old_value = before.find(row.name, now.key);
        const auto new_value = now.find(row.name, now.key);
        if (old_value && new_value) {
            result.rows.push_back(
                {row.name,
                 {old_value, new_value, divide(new_value, old_value),
                  divide(find_in_floors(now, row.name), find_in_floors(before, row.name))}});
        }
    }
    return result;
}

}  // namespace

std::optional<double> Section::find(std::string_view row, std::string_view column) const {
    const auto found_row =
        std::find_if(rows.begin(), rows.end(), [&](const Row& one) { return one.name == row; });
    const auto found_column = std::find(columns.begin(), columns.end(), column);
    if (found_row == rows.end() || found_column == columns.end()) {
        return std::nullopt;
    }
    return found_row->values.at(static_cast<std::size_t>(found_column - columns.begin()));
}

const Section* Report::find(std::string_view title) const {
    const auto found = std::find_if(sections.begin(), sections.end(),
                                    [&](const Section& one) { return one.title == title; });
    return found == sections.end() ? nullptr : &*found;
}

Section* Report::find(std::string_view title) {
    return const_cast<Section*>(static_cast<const Report&>(*this).find(title));
}

std::optional<double> Report::find(std::string_view title, std::string_view row,
                                   std::string_view column) const {
    const Section* section = find(title);
    return section == nullptr ? std::nullopt : section->find(row, column);
}

void print(const Report& report, std::ostream& stream) {
    for (const std::string& note : report.notes) {
        stream << note << '\n';
    }
    const std::size_t width = get_name_width(report);
    for (const Section& section : report.sections) {
        stream << '\n';
        print_section(stream, section, width);
    }
}

Report compare(const Report& before, const Report& now) {
    Report result{{"Compared with a run on:"}, {}};
    result.notes.insert(result.notes.end(), before.notes.begin(), before.notes.end());
    for (const Section& section : now.sections) {
        if (const Section* old_section = before.find(section.title)) {
            result.sections.push_back(compare(*old_section, section));
        }
    }
    return result;
}

}  // namespace kx::benchmarks
