#include "subscription_requests.h"

#include "support/replies.h"

#include <stdexcept>

namespace kx::information_model::opc::testing {

std::string create_subscribe(const std::string& items, const std::string& ping_rate,
                             const std::string& options) {
    return R"(<Subscribe ReturnValuesOnReply="true" SubscriptionPingRate=")" + ping_rate + "\">" + options +
           "<ItemList>" + items + "</ItemList></Subscribe>";
}

std::string create_poll(const std::string& handle, const std::string& attributes,
                        const std::string& options) {
    return "<SubscriptionPolledRefresh" + attributes + ">" + options + "<ServerSubHandles>" + handle +
           "</ServerSubHandles></SubscriptionPolledRefresh>";
}

std::string create_poll_of(const std::vector<std::string>& handles) {
    std::string request = "<SubscriptionPolledRefresh>";
    for (const std::string& handle : handles) {
        request += "<ServerSubHandles>" + handle + "</ServerSubHandles>";
    }
    return request + "</SubscriptionPolledRefresh>";
}

std::string create_cancel(const std::string& handle) {
    return R"(<SubscriptionCancel ServerSubHandle=")" + handle + R"("/>)";
}

std::string get_digits_after(const Reply& reply, const std::string& start) {
    const auto position = reply.body.find(start);
    if (position == std::string::npos) {
        return "";
    }
    const auto begin = position + start.size();
    return reply.body.substr(begin, reply.body.find_first_not_of("0123456789", begin) - begin);
}

std::string get_handle(const Reply& reply) {
    std::string handle = get_digits_after(reply, "<SubscribeResponse ServerSubHandle=\"");
    if (handle.empty()) {
        throw std::runtime_error("no handle in " + reply.body);
    }
    return handle;
}

std::string create_subscribe_response(const std::string& handle, const std::string& items,
                                      const char* client_request_handle) {
    return "<SubscribeResponse ServerSubHandle=\"" + handle + "\">" + create_item_list(items) +
           create_result("SubscribeResult", client_request_handle) + "</SubscribeResponse>";
}

std::string create_poll_response(const std::string& items, const std::string& invalid,
                                 const char* client_request_handle) {
    return "<SubscriptionPolledRefreshResponse>" + invalid + create_item_list(items) +
           create_result("SubscriptionPolledRefreshResult", client_request_handle) +
           "</SubscriptionPolledRefreshResponse>";
}

std::string create_invalid(const std::string& handle) {
    return handle.empty() ? "<InvalidServerSubHandles/>"
                          : "<InvalidServerSubHandles>" + handle + "</InvalidServerSubHandles>";
}

std::string create_item_list(const std::string& items) {
    return items.empty() ? "<RItemList/>" : "<RItemList>" + items + "</RItemList>";
}

}  // namespace kx::information_model::opc::testing
