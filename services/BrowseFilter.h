#pragma once

#include <information_model/SymbolList.h>

#include <cstdint>
#include <string>
#include <vector>

namespace kx::information_model::symbol_list {

/// Which children a client wants to see when it browses, with the values and names of "browseFilter".
enum class BROWSE_FILTER : std::uint32_t {
    ALL = 0,
    BRANCH = 1,  ///< domains only
    ITEM = 2     ///< the same as all, since domains are items too; kept: clients rely on it
};

template <>
struct SymbolList<BROWSE_FILTER> {
    static const std::string& get_list_name();
    static const std::vector<Symbol>& get_symbols();
};

}  // namespace kx::information_model::symbol_list
