#include "gateway/soap/result_texts.h"

#include <array>
#include <string_view>

namespace gateway {
namespace {

struct ResultText {
    std::string_view code;
    std::string_view text;
};

constexpr std::array RESULT_TEXTS = {
    ResultText{"E_BADTYPE",
               "The value cannot be converted to the requested type or to the type of the item."},
    ResultText{
        "E_BUSY",
        "Another poll of the same subscription replaced this one, or there are too many subscriptions."},
    ResultText{"E_FAIL", "The server cannot send the value of the item."},
    ResultText{"E_INVALIDCONTINUATIONPOINT",
               "The continuation point is no longer valid: start the Browse again."},
    ResultText{"E_INVALIDFILTER", "The filter is not valid."},
    ResultText{"E_INVALIDHOLDTIME", "The hold time is more than an hour in the future."},
    ResultText{"E_INVALIDITEMNAME", "The item name is not valid."},
    ResultText{"E_INVALIDPID", "The item has no such property."},
    ResultText{"E_NOSUBSCRIPTION", "There is no subscription with this handle."},
    ResultText{"E_NOTSUPPORTED", "Quality and timestamp of an item cannot be written."},
    ResultText{"E_OUTOFMEMORY", "The request is too large, or there are too many subscribed items."},
    ResultText{"E_RANGE", "The value is out of range, or the server did not accept it."},
    ResultText{"E_READONLY", "The item is read-only."},
    ResultText{"E_SERVERSTATE", "The server behind the gateway does not answer."},
    ResultText{"E_TIMEDOUT", "The server did not answer in time; the value may have been written."},
    ResultText{"E_UNKNOWNITEMNAME", "There is no such item, or it has no value."},
    ResultText{"S_CLAMP", "The server changed the written value."},
};

}  // namespace

std::string get_result_text(const std::string& code) {
    for (const ResultText& entry : RESULT_TEXTS) {
        if (entry.code == code) {
            return std::string(entry.text);
        }
    }
    return "";
}

}  // namespace gateway
