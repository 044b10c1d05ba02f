#pragma once

#include <information_model/SymbolList.h>

#include <string>
#include <vector>

namespace plant {

/// How the boiler is run. The values are positions in the list, so clients can write what they read.
enum class OPERATING_MODE : unsigned int { OFF = 0, MANUAL = 1, AUTOMATIC = 2 };

/// What the turbine does. The values are the controller's own codes and not positions: fit for variables
/// that clients only read.
enum class TURBINE_STATE : unsigned int {
    STANDSTILL = 0,
    TURNING = 10,
    RUN_UP = 20,
    ON_LINE = 50,
    TRIPPED = 90
};

}  // namespace plant

template <>
struct kx::information_model::symbol_list::SymbolList<plant::OPERATING_MODE> {
    static const std::string& get_list_name();
    static const std::vector<Symbol>& get_symbols();
};

template <>
struct kx::information_model::symbol_list::SymbolList<plant::TURBINE_STATE> {
    static const std::string& get_list_name();
    static const std::vector<Symbol>& get_symbols();
};
