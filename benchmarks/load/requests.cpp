#include "load/requests.h"

#include "load/tree.h"

#include <algorithm>
#include <functional>
#include <stdexcept>

namespace kx::benchmarks {

namespace {

const std::string NO_CONTENT = "/>";

std::string wrap(const std::string& request) {
    return R"(<?xml version="1.0" encoding="utf-8"?><soap:Envelope)"
           R"( xmlns:soap="http://schemas.xmlsoap.org/soap/envelope/")"
           R"( xmlns:xsd="http://www.w3.org/2001/XMLSchema")"
           R"( xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance")"
           R"( xmlns="http://opcfoundation.org/webservices/XMLDA/1.0/"><soap:Body>)" +
           request + "</soap:Body></soap:Envelope>";
}

/// @param content  what follows the attributes, up to the element's end
std::string create_item(const std::string& name, std::size_t item, const std::string& content) {
    return "<Items ItemName=\"" + name + "\" ClientItemHandle=\"h" + std::to_string(item) + "\"" + content;
}

std::size_t get_stride(std::size_t items, std::size_t variables) {
    return std::max<std::size_t>(1, variables / items);
}

std::string create_items(std::size_t items, std::size_t variables,
                         const std::function<std::string(std::size_t)>& create_content) {
    std::string list = "<ItemList>";
    const std::size_t stride = get_stride(items, variables);
    for (std::size_t item = 0; item < items; ++item) {
        list += create_item(create_item_name(item * stride % variables), item, create_content(item));
    }
    return list + "</ItemList>";
}

std::string create_items(std::size_t items, std::size_t variables) {
    return create_items(items, variables, [](std::size_t /*item*/) { return NO_CONTENT; });
}

std::string create_new_value(std::size_t item) {
    return "><Value xsi:type=\"xsd:double\">" + std::to_string(0.25 * static_cast<double>(item)) +
           "</Value></Items>";
}

std::string create_read(const std::string& item_list) {
    return wrap("<Read><Options ReturnItemTime=\"true\"/>" + item_list + "</Read>");
}

}  // namespace

std::string create_status_request() {
    return wrap("<GetStatus/>");
}

std::string create_read_request(std::size_t items, std::size_t variables) {
    return create_read(create_items(items, variables));
}

std::string create_type_read_request(const std::string& type_name) {
    std::string list = "<ItemList>";
    for (std::size_t item = 0; item < TYPE_VARIABLES; ++item) {
        list += create_item(create_item_name(type_name, item), item, NO_CONTENT);
    }
    return create_read(list + "</ItemList>");
}

std::string create_write_request(std::size_t items, std::size_t variables) {
    return wrap("<Write ReturnValuesOnReply=\"false\">" + create_items(items, variables, create_new_value) +
                "</Write>");
}

std::string create_subscribe_request(std::size_t items, std::size_t variables,
                                     std::chrono::milliseconds ping_rate) {
    return wrap("<Subscribe ReturnValuesOnReply=\"true\" SubscriptionPingRate=\"" +
                std::to_string(ping_rate.count()) + "\">" + create_items(items, variables) + "</Subscribe>");
}

std::string create_poll_request(const std::string& server_handle) {
    return wrap("<SubscriptionPolledRefresh><ServerSubHandles>" + server_handle +
                "</ServerSubHandles></SubscriptionPolledRefresh>");
}

std::string create_browse_request(const std::string& path) {
    return wrap("<Browse ItemName=\"" + path +
                "\" ReturnAllProperties=\"true\" ReturnPropertyValues=\"true\"/>");
}

std::string get_server_handle(const std::string& reply) {
    const std::string attribute = "ServerSubHandle=\"";
    const auto found = reply.find(attribute);
    if (found == std::string::npos) {
        throw std::runtime_error("no server handle: " + reply);
    }
    const auto start = found + attribute.size();
    return reply.substr(start, reply.find('"', start) - start);
}

}  // namespace kx::benchmarks
