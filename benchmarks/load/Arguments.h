#pragma once

#include "load/Suite.h"

#include <iosfwd>
#include <string>
#include <vector>

namespace kx::benchmarks {

/// What the command line asks for.
struct Arguments {
    SuiteOptions suite = {};
    bool help = false;
    std::string json_file = {};       ///< where to write the report; empty: nowhere
    std::string compare_file = {};    ///< an earlier report; empty: none
    std::string plot_data_file = {};  ///< where to write what the plot needs; empty: nowhere
    std::vector<std::string> include_files = {};
};

/// @param words  the command line without the program's name
/// @throws std::invalid_argument  naming the word that is unknown or lacks its value
Arguments parse_arguments(const std::vector<std::string>& words);

void print_help(std::ostream& stream);

}  // namespace kx::benchmarks
