#pragma once

#include "load/Suite.h"

#include <cstddef>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

namespace kx::benchmarks {

/// What the command line asks for.
struct Arguments {
    SuiteOptions suite = {};
    bool help = false;
    std::optional<std::size_t> serve = {};  ///< a tree of so many variables, instead of measuring
    int port_to = 1;                        ///< descriptor that its port is written to
};

/// @param words  the command line without the program's name
/// @throws std::invalid_argument  naming the word that is unknown or lacks its value
Arguments parse_arguments(const std::vector<std::string>& words);

void print_help(std::ostream& stream);

}  // namespace kx::benchmarks
