#include "load/SoakClient.h"

#include "load/requests.h"
#include "load/tree.h"

#include <expat.h>

#include <algorithm>
#include <memory>
#include <numeric>
#include <stdexcept>
#include <type_traits>

namespace kx::benchmarks {

namespace {

constexpr std::size_t ITEMS = 20;
constexpr std::size_t ROUNDS_PER_ABANDONED = 10;
constexpr std::size_t HANDLES_PER_POLL = 1000;

void check_well_formed(const std::string& xml) {
    const std::unique_ptr<std::remove_pointer_t<XML_Parser>, decltype(&XML_ParserFree)> parser(
        XML_ParserCreateNS(nullptr, '|'), XML_ParserFree);
    if (XML_Parse(parser.get(), xml.data(), static_cast<int>(xml.size()), 1) != XML_STATUS_OK) {
        throw std::runtime_error(std::string("not well-formed, ") +
                                 XML_ErrorString(XML_GetErrorCode(parser.get())) + ": " + xml);
    }
}

std::size_t count(const std::string& text, std::string_view mark) {
    std::size_t found = 0;
    for (std::size_t at = text.find(mark); at != std::string::npos; at = text.find(mark, at + mark.size())) {
        ++found;
    }
    return found;
}

}  // namespace

SoakClient::SoakClient(unsigned short port, std::size_t variables, std::chrono::milliseconds ping_rate)
    : connection_(port), variables_(variables), ping_rate_(ping_rate) {}

std::size_t SoakClient::get_request_count() const noexcept {
    return std::accumulate(counts_.begin(), counts_.end(), std::size_t{0});
}

const std::string& SoakClient::call(std::string_view service, const std::string& body) {
    const std::string& reply = connection_.exchange(create_http_request(body));
    check_well_formed(reply);
    if (reply.find("<soap:Body><" + std::string(service) + "Response") == std::string::npos) {
        throw std::runtime_error("no reply to " + std::string(service) + ": " + reply);
    }
    const auto place = std::find(SERVICE_NAMES.begin(), SERVICE_NAMES.end(), service);
    ++counts_.at(static_cast<std::size_t>(place - SERVICE_NAMES.begin()));
    return reply;
}

void SoakClient::call_and_count(std::string_view service, const std::string& body, std::string_view mark,
                                std::size_t expected) {
    const std::string& reply = call(service, body);
    if (const std::size_t found = count(reply, mark); found != expected) {
        throw std::runtime_error(std::to_string(found) + " times " + std::string(mark) + " instead of " +
                                 std::to_string(expected) + ": " + reply);
    }
}

void SoakClient::run_round() {
    const std::vector<std::string>& types = get_type_names();
    call("GetStatus", create_status_request());
    call("Browse", create_browse_request("/"));
    call("Browse", create_browse_request("/coming"));
    call_and_count("GetProperties", create_properties_request(ITEMS, variables_), "<PropertyLists ", ITEMS);
    call_and_count("Read", create_read_request(ITEMS, variables_), "<Items ", ITEMS);
    call_and_count("Write", create_write_request(ITEMS, variables_), "<Items ", ITEMS);
    if (rounds_ % 100 == 0) {
        call_and_count("Read", create_type_read_request(types[rounds_ / 100 % types.size()]), "<Items ",
                       TYPE_VARIABLES);
    }
    if (rounds_ % ROUNDS_PER_ABANDONED == 0) {
        abandon_subscription();
    } else {
        follow_subscription();
    }
    ++rounds_;
}

std::string SoakClient::subscribe(std::chrono::milliseconds ping_rate) {
    return get_server_handle(call("Subscribe", create_subscribe_request(ITEMS, variables_, ping_rate)));
}

void SoakClient::follow_subscription() {
    const std::string handle = subscribe(std::chrono::hours(1));
    call_and_count("SubscriptionPolledRefresh", create_poll_request(handle), "<Items ", ITEMS);
    call_and_count("SubscriptionPolledRefresh", create_poll_request(handle), "<InvalidServerSubHandles>", 0);
    call("SubscriptionCancel", create_cancel_request(handle));
}

// Nothing is expected of the poll: it may come too late.
void SoakClient::abandon_subscription() {
    abandoned_.push_back(subscribe(ping_rate_));
    call("SubscriptionPolledRefresh", create_poll_request(abandoned_.back()));
}

std::size_t SoakClient::count_survivors() {
    std::size_t survivors = 0;
    for (auto next = abandoned_.begin(); next != abandoned_.end();) {
        const auto end = next + std::min<std::ptrdiff_t>(HANDLES_PER_POLL, abandoned_.end() - next);
        const std::vector<std::string> handles(next, end);
        survivors += handles.size() - count(call("SubscriptionPolledRefresh", create_poll_request(handles)),
                                            "<InvalidServerSubHandles>");
        next = end;
    }
    return survivors;
}

}  // namespace kx::benchmarks
