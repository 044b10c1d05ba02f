#include "symbols.h"

namespace kx::information_model::symbol_list {

const std::string& SymbolList<plant::OPERATING_MODE>::get_list_name() {
    static const std::string LIST_NAME = "plant.OperatingMode";
    return LIST_NAME;
}

const std::vector<Symbol>& SymbolList<plant::OPERATING_MODE>::get_symbols() {
    static const std::vector<Symbol> SYMBOLS = {
        {0, "off", "The burner is off and the feed water valve closes."},
        {1, "manual", "The feed water valve follows its set point."},
        {2, "automatic", "The feed water valve keeps the drum level."}};
    return SYMBOLS;
}

const std::string& SymbolList<plant::TURBINE_STATE>::get_list_name() {
    static const std::string LIST_NAME = "plant.TurbineState";
    return LIST_NAME;
}

const std::vector<Symbol>& SymbolList<plant::TURBINE_STATE>::get_symbols() {
    static const std::vector<Symbol> SYMBOLS = {{0, "standstill", ""},
                                                {10, "turning", "On the turning gear."},
                                                {20, "runUp", "Gathering speed."},
                                                {50, "onLine", "Delivering power."},
                                                {90, "tripped", "Stopped by a protection."}};
    return SYMBOLS;
}

}  // namespace kx::information_model::symbol_list
