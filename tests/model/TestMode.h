#pragma once

#include <information_model/SymbolList.h>

#include <cstdint>
#include <string>
#include <vector>

namespace kx::information_model::testing {

/// An enumeration of a host whose values are not their positions.
enum class Mode : std::uint32_t {
    OFF = 10,
    MANUAL = 40,
    AUTOMATIC = 20,
    BROKEN = 4'294'967'295U,
    UNLISTED = 7
};

}  // namespace kx::information_model::testing

template <>
struct kx::information_model::symbol_list::SymbolList<kx::information_model::testing::Mode> {
    static const std::string& get_list_name() {
        static const std::string LIST_NAME = "test.Mode";
        return LIST_NAME;
    }
    static const std::vector<Symbol>& get_symbols() {
        static const std::vector<Symbol> SYMBOLS = {{10, "off", "Not running."},
                                                    {40, "manual", ""},
                                                    {20, "automatic", ""},
                                                    {4'294'967'295U, "broken", ""}};
        return SYMBOLS;
    }
};
