#pragma once

#include <information_model/SymbolList.h>
#include <information_model/export.h>

#include <cstdint>
#include <string>
#include <vector>

namespace kx::information_model::symbol_list {

/// Quality of a variable, with the values and names of the list "common.Quality".
enum class QUALITY : std::uint8_t {
    BAD = 0,
    BAD_CONFIGURATION_ERROR = 1,
    BAD_NOT_CONNECTED = 2,
    BAD_DEVICE_FAILURE = 3,
    BAD_SENSOR_FAILURE = 4,
    BAD_LAST_KNOWN_VALUE = 5,
    BAD_COMM_FAILURE = 6,
    BAD_OUT_OF_SERVICE = 7,
    BAD_WAITING_FOR_INITIAL_DATA = 8,
    UNCERTAIN = 9,
    UNCERTAIN_LAST_USABLE_VALUE = 10,
    UNCERTAIN_SENSOR_NOT_ACCURATE = 11,
    UNCERTAIN_EU_EXCEEDED = 12,
    UNCERTAIN_SUB_NORMAL = 13,
    GOOD = 14,
    GOOD_LOCAL_OVERRIDE = 15
};

/// Whether and how a variable's history is kept, with the values and names of "common.HistoryKind".
enum class HISTORY_KIND : std::uint8_t { NONE = 0, HISTORY_AVAILABLE = 1, HISTORY_SUGGESTED = 2 };

/// The list "common.Quality".
template <>
struct KX_INFORMATION_MODEL_EXPORT SymbolList<QUALITY> {
    /// "common.Quality"
    static const std::string& get_list_name();
    /// What the list is, for people.
    static const std::string& get_list_description();
    /// The symbols; their values are their positions.
    static const std::vector<Symbol>& get_symbols();
};

/// The list "common.HistoryKind".
template <>
struct KX_INFORMATION_MODEL_EXPORT SymbolList<HISTORY_KIND> {
    /// "common.HistoryKind"
    static const std::string& get_list_name();
    /// What the list is, for people.
    static const std::string& get_list_description();
    /// The symbols; their values are their positions.
    static const std::vector<Symbol>& get_symbols();
};

}  // namespace kx::information_model::symbol_list
