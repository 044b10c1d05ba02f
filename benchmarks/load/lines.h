#pragma once

#include "load/turns.h"

#include <iosfwd>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace kx::benchmarks {

/// Names with their values; none is null in JSON.
using Figures = std::vector<std::pair<std::string, std::optional<double>>>;

/// @name Lines of JSON
///
/// What the measuring programs print, an object a line. benchmarks/report reads them, and makes tables of
/// them.
/// @{

/// {"section": ..., "row": ..., "figures": {name: value, ...}}
void print_figures(std::ostream& stream, const std::string& section, const std::string& row,
                   const Figures& figures);

/// {"section": ..., "row": ..., "units": ..., "request B": ..., "reply B": ..., "servers": {name: {
/// "CPU us": [for each round], "requests/s": [for each round], "p50 us": ..., "p99 us": ..., "p99.9 us":
/// ...}}}
/// @param units  items, properties: what the time of a request may be divided by
void print_measurement(std::ostream& stream, const std::string& section, const std::string& row,
                       std::size_t units, const Measurement& measurement);
/// @}

}  // namespace kx::benchmarks
