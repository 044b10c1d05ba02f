#include "services/BrowseFilter.h"

namespace kx::information_model::symbol_list {

const std::string& SymbolList<BROWSE_FILTER>::get_list_name() {
    static const std::string LIST_NAME = "browseFilter";
    return LIST_NAME;
}

const std::vector<Symbol>& SymbolList<BROWSE_FILTER>::get_symbols() {
    static const std::vector<Symbol> SYMBOLS = {{0, "all", ""}, {1, "branch", ""}, {2, "item", ""}};
    return SYMBOLS;
}

}  // namespace kx::information_model::symbol_list
