#include <information_model/symbol_lists.h>

namespace kx::information_model::symbol_list {

const std::string& SymbolList<QUALITY>::get_list_name() {
    static const std::string LIST_NAME = "common.Quality";
    return LIST_NAME;
}

const std::string& SymbolList<QUALITY>::get_list_description() {
    static const std::string LIST_DESCRIPTION = "Quality of a variable.";
    return LIST_DESCRIPTION;
}

// Clients see these texts: their wording, and the full stops that some lack, stay as they are.
const std::vector<Symbol>& SymbolList<QUALITY>::get_symbols() {
    static const std::vector<Symbol> SYMBOLS = {
        {0, "bad", "The value is bad but no specific reason is known."},
        {1, "badConfigurationError", ""},
        {2, "badNotConnected", "The input is required to be logically connected to something but is not."},
        {3, "badDeviceFailure", "A device failure has been detected."},
        {4, "badSensorFailure", "A sensor failure had been detected."},
        {5, "badLastKnownValue", "Communications have failed"},
        {6, "badCommFailure", "Communications have failed."},
        {7, "badOutOfService", "The block is off scan or otherwise locked."},
        {8, "badWaitingForInitialData", "Value has not been obtained yet."},
        {9, "uncertain", ""},
        {10, "uncertainLastUsableValue", ""},
        {11, "uncertainSensorNotAccurate", "Sensor is out of configuration"},
        {12, "uncertainEUExceeded", "The returned value is outside the limits"},
        {13, "uncertainSubNormal", "Not all sources are good."},
        {14, "good", "The value is good"},
        {15, "goodLocalOverride", ""}};
    return SYMBOLS;
}

const std::string& SymbolList<HISTORY_KIND>::get_list_name() {
    static const std::string LIST_NAME = "common.HistoryKind";
    return LIST_NAME;
}

const std::string& SymbolList<HISTORY_KIND>::get_list_description() {
    static const std::string LIST_DESCRIPTION =
        "The historyKind property informs a client if and how a variable is historized.";
    return LIST_DESCRIPTION;
}

const std::vector<Symbol>& SymbolList<HISTORY_KIND>::get_symbols() {
    static const std::vector<Symbol> SYMBOLS = {
        {0, "none", "No history is maintained."},
        {1, "historyAvailable", "History data is available via the OSV History service."},
        {2, "historySuggested",
         "Suggestion to the client to store a history of this variable from data acquired via the OSV Item "
         "Service."}};
    return SYMBOLS;
}

}  // namespace kx::information_model::symbol_list
