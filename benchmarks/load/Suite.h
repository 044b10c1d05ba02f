#pragma once

#include "load/cases.h"
#include "load/turns.h"

#include <cstddef>
#include <iosfwd>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace kx::benchmarks {

struct SuiteOptions {
    bool quick = false;               ///< fewer and shorter rounds, and nothing that takes long
    std::string before = {};          ///< this program of an earlier version; empty: none
    std::string filter = {};          ///< only rows whose "title: name" contains this
    std::set<std::string> rows = {};  ///< only the rows "title: name"; empty: all
};

/// Everything that the load driver measures, section by section. Prints each row as a line of JSON as soon as
/// it is measured, and tells on the error stream what it is at.
/// Requires: no other thread runs, because servers are forked.
class Suite {
public:
    /// @param lines  outlives this object
    Suite(SuiteOptions options, std::ostream& lines);

    /// @throws std::runtime_error  if a server does not start, or answers with anything but 200
    void run();

private:
    /// A line on how it measures.
    void print_plan() const;

    void measure_services();
    void measure_types();
    void measure_tree_sizes();
    void measure_clients();
    void measure_tls();
    void measure_subscriptions();
    void measure_updates();
    void measure_peak_memory();
    void measure_tree_memory();

    /// Tells what is measured next.
    void announce(std::string_view title, const std::string& name);
    bool is_wanted(std::string_view title, const std::string& name) const;
    std::vector<Case> get_wanted(std::string_view title, const std::vector<Case>& cases) const;
    /// Measures the wanted ones of `cases` on a stage that is set up for them, if there are any.
    void measure(std::string_view title, const std::vector<Case>& cases, std::size_t variables);
    void measure(std::string_view title, const Case& test, const Stage& stage);

    SuiteOptions options_;
    std::ostream& lines_;
    Plan plan_;
    std::set<std::string> missing_rows_;  // of those in the options
};

}  // namespace kx::benchmarks
