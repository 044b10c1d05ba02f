#include "load/requests.h"

#include <algorithm>
#include <functional>

namespace kx::benchmarks {

namespace {

std::string wrap(const std::string& request) {
    return R"(<?xml version="1.0" encoding="utf-8"?><soap:Envelope)"
           R"( xmlns:soap="http://schemas.xmlsoap.org/soap/envelope/")"
           R"( xmlns:xsd="http://www.w3.org/2001/XMLSchema")"
           R"( xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance")"
           R"( xmlns="http://opcfoundation.org/webservices/XMLDA/1.0/"><soap:Body>)" +
           request + "</soap:Body></soap:Envelope>";
}

std::string create_items(std::size_t items, std::size_t tree_size,
                         const std::function<std::string(std::size_t)>& create_content) {
    std::string list = "<ItemList>";
    const std::size_t stride = std::max<std::size_t>(1, tree_size / items);
    for (std::size_t item = 0; item < items; ++item) {
        list += "<Items ItemName=\"" + create_item_name(item * stride % tree_size) + "\" ClientItemHandle=\"h" +
                std::to_string(item) + "\"" + create_content(item);
    }
    return list + "</ItemList>";
}

const auto NO_CONTENT = [](std::size_t /*item*/) { return std::string("/>"); };

}  // namespace

std::string create_item_name(std::size_t index) {
    return "/bulk/" + std::to_string(index / 1000) + "/v" + std::to_string(index);
}

std::string create_status_request() { return wrap("<GetStatus/>"); }

std::string create_read_request(std::size_t items, std::size_t tree_size) {
    return wrap("<Read><Options ReturnItemTime=\"true\"/>" + create_items(items, tree_size, NO_CONTENT) + "</Read>");
}

std::string create_write_request(std::size_t items, std::size_t tree_size) {
    return wrap("<Write ReturnValuesOnReply=\"false\">" +
                create_items(items, tree_size,
                             [](std::size_t item) {
                                 return "><Value xsi:type=\"xsd:double\">" + std::to_string(0.25 * static_cast<double>(item)) +
                                        "</Value></Items>";
                             }) +
                "</Write>");
}

std::string create_subscribe_request(std::size_t items, std::size_t tree_size) {
    return wrap("<Subscribe ReturnValuesOnReply=\"true\" SubscriptionPingRate=\"3600000\">" +
                create_items(items, tree_size, NO_CONTENT) + "</Subscribe>");
}

std::string create_poll_request(const std::string& handle) {
    return wrap("<SubscriptionPolledRefresh><ServerSubHandles>" + handle +
                "</ServerSubHandles></SubscriptionPolledRefresh>");
}

std::string create_browse_request(const std::string& path) {
    return wrap("<Browse ItemName=\"" + path + "\" ReturnAllProperties=\"true\" ReturnPropertyValues=\"true\"/>");
}

}  // namespace kx::benchmarks
