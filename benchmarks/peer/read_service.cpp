// The function that the generated dispatcher calls.

#include "soapH.h"

#include <information_model/InformationModel.h>
#include <information_model/exceptions.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <shared_mutex>
#include <string_view>

namespace {

using namespace kx::information_model;

char* copy_text(soap* context, std::string_view text) {
    auto* copy = static_cast<char*>(soap_malloc(context, text.size() + 1));
    *std::copy(text.begin(), text.end(), copy) = '\0';
    return copy;
}

/// With six digits behind the point, as our server writes it.
char* format(soap* context, double value) {
    std::array<char, 512> text;  // more than the longest needs
    const auto end = std::to_chars(text.begin(), text.end(), value, std::chars_format::fixed, 6).ptr;
    return copy_text(context, {text.begin(), end});
}

const char* get_name(const da__ReadRequestItem& item) {
    return item.ItemName == nullptr ? "." : item.ItemName;
}

/// Fills in what the reply says of one item. All of it is copied, because gSOAP serialises the reply when the
/// lock has been released.
/// Requires: tree lock held.
void fill(soap* context, da__ItemValue& reply, const Item& item, const da__ReadRequestItem& request,
          bool with_time) {
    // An absolute path is the item's own already.
    reply.ItemName =
        get_name(request)[0] == '/' ? request.ItemName : copy_text(context, item.get_path().as_string());
    reply.ClientItemHandle = request.ClientItemHandle;
    if (item.get_item_type() != ITEM_TYPE::VARIABLE) {
        return;
    }
    const auto& variable = static_cast<const Variable&>(item);
    if (with_time) {
        reply.Timestamp = copy_text(context, to_iso8601_string(variable.get_timestamp()));
    }
    if (const double* content = std::get_if<double>(&variable.get_value())) {
        reply.__type = SOAP_TYPE_xsd__double;
        reply.da__Value = format(context, *content);
    }
}

void read_items(soap* context, const _da__Read& request, da__ReplyItemList& reply) {
    const auto& model = *static_cast<const InformationModel*>(context->user);
    const auto& root = static_cast<const Item&>(model.get_information_tree());
    const bool with_time =
        request.da__Options != nullptr &&
        (request.da__Options->ReturnItemTime == nullptr || *request.da__Options->ReturnItemTime);
    const int size = request.da__ItemList == nullptr ? 0 : request.da__ItemList->__size;
    reply.da__Items = soap_new_da__ItemValue(context, size);
    const std::shared_lock<const Tree> lock(root);
    for (int index = 0; index < size; ++index) {
        da__ReadRequestItem& wanted = request.da__ItemList->da__Items[index];
        try {
            fill(context, reply.da__Items[reply.__size], root.get_item(Path(get_name(wanted)), false), wanted,
                 with_time);
            ++reply.__size;
        } catch (const PathNotFoundException&) {
            continue;  // left out
        }
    }
}

char* get_time(soap* context) {
    return copy_text(context, to_iso8601_string(std::chrono::system_clock::now()));
}

}  // namespace

int __da__Read(soap* context, _da__Read* request, _da__ReadResponse* response) {
    static char locale[] = "en-US";
    static char state[] = "running";
    char* receive_time = get_time(context);
    response->da__RItemList = soap_new_da__ReplyItemList(context, 1);
    response->da__ReadResult = soap_new_da__ReplyBase(context, 1);
    try {
        read_items(context, *request, *response->da__RItemList);
    } catch (const std::exception& error) {
        return soap_sender_fault(context, error.what(), nullptr);
    }
    response->da__ReadResult->RevisedLocaleID = locale;
    response->da__ReadResult->RcvTime = receive_time;
    response->da__ReadResult->ReplyTime = get_time(context);
    response->da__ReadResult->ServerState = state;
    return SOAP_OK;
}
