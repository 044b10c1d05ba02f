#pragma once

#include "load/Report.h"
#include "load/cases.h"
#include "load/turns.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace kx::benchmarks {

/// @name Titles of sections that others look up
/// @{
inline constexpr std::string_view SERVICES_TITLE = "Services";
inline constexpr std::string_view MEMORY_TITLE = "Peak memory, fresh server";
/// @}

struct SuiteOptions {
    bool quick = false;       ///< fewer and shorter rounds, and nothing that takes long
    bool with_peer = true;    ///< if it has been built
    std::string filter = {};  ///< only rows whose "title: name" contains this
};

/// Everything that the load driver measures, section by section. Tells on the error stream what it is at.
/// Requires: no other thread runs, because servers are forked.
class Suite {
public:
    explicit Suite(SuiteOptions options);

    /// @return the sections that have a row
    /// @throws std::runtime_error  if a server does not start, or answers with anything but 200
    std::vector<Section> run() const;

    /// How it measures, in words.
    std::string describe() const;

private:
    Section measure_services() const;
    Section measure_types() const;
    Section measure_tree_sizes() const;
    Section measure_clients() const;
    Section measure_tls() const;
    Section measure_updates() const;
    Section measure_memory() const;

    bool is_wanted(const Section& section, const std::string& name) const;
    /// Measures the wanted ones of `cases` on a stage that is set up for them, if there are any.
    void measure(Section& section, const std::vector<Case>& cases, std::size_t variables) const;
    void measure(Section& section, const std::vector<Case>& cases, const Stage& stage) const;

    SuiteOptions options_;
    Plan plan_;
};

}  // namespace kx::benchmarks
