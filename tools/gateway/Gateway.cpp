#include "gateway/Gateway.h"

#include "gateway/http/MemoryBudget.h"
#include "gateway/http/ServerAddress.h"
#include "gateway/items/ItemTable.h"
#include "gateway/items/item_path.h"
#include "gateway/net/AsioLoop.h"
#include "gateway/net/HttpClient.h"
#include "gateway/net/HttpServer.h"
#include "gateway/services/SoapServices.h"
#include "gateway/services/SubscriptionTable.h"
#include "gateway/upstream/Sampler.h"
#include "gateway/upstream/ServerClient.h"
#include "gateway/web/Metrics.h"
#include "gateway/web/PageApi.h"
#include "gateway/web/Router.h"

#include <algorithm>
#include <functional>
#include <iostream>
#include <stdexcept>
#include <utility>

namespace gateway {
namespace {

constexpr auto LONGEST_FAREWELL = std::chrono::seconds(2);
constexpr auto SWEEP_INTERVAL = std::chrono::seconds(1);
constexpr std::size_t MIB = 1U << 20U;

HttpServerOptions to_server_options(const Arguments& arguments) {
    return {.address = arguments.address,
            .port = arguments.port,
            .largest_request = arguments.largest_request * MIB,
            .most_clients = arguments.most_clients,
            .patience = arguments.client_patience,
            .certificate = arguments.certificate};
}

/// Without those that lie in another: Prometheus drops an item that comes twice.
std::vector<std::string> drop_nested(std::vector<std::string> branches) {
    std::sort(branches.begin(), branches.end());
    std::vector<std::string> outermost;
    for (std::string& branch : branches) {
        const bool is_nested =
            std::any_of(outermost.begin(), outermost.end(), [&branch](const std::string& other) {
                return other == "/" || branch == other || branch.starts_with(other + "/");
            });
        if (!is_nested) {
            outermost.push_back(std::move(branch));
        }
    }
    return outermost;
}

std::vector<std::string> to_branches(const std::vector<std::string>& texts) {
    std::vector<std::string> branches;
    for (const std::string& text : texts) {
        const auto branch = to_item_path("", text);
        if (!branch) {
            throw std::invalid_argument("--metrics: '" + text + "' is not the path of a branch");
        }
        branches.push_back(*branch);
    }
    return drop_nested(std::move(branches));
}

}  // namespace

struct GatewayParts {
    GatewayParts(AsioLoop& given_loop, const Arguments& arguments)
        : loop(given_loop),
          memory(arguments.most_memory * MIB),
          http_client(loop, parse_server_url(arguments.server), arguments.trust),
          client([this, patience = arguments.server_patience](std::string document, bool may_repeat) {
              return http_client.post(
                  std::move(document),
                  may_repeat ? HttpClient::Repetition::ALLOWED : HttpClient::Repetition::FORBIDDEN, patience);
          }),
          sampler(loop, client, table, arguments.sample),
          subscriptions(
              loop, {.most_items = arguments.most_items, .most_of_an_address = arguments.most_subscriptions}),
          service_parts{loop, client, table, sampler, subscriptions, memory, arguments.read_only},
          services(service_parts),
          page(service_parts, arguments.server),
          metrics(service_parts, to_branches(arguments.metrics), [this] { return get_figures(); }),
          router(services, page, metrics, arguments.names),
          server(loop, to_server_options(arguments), memory,
                 [this](HttpRequest request, std::shared_ptr<Presence> presence) {
                     return router.serve(std::move(request), std::move(presence));
                 }) {
        sampler.set_listener([this] { show_condition(); });
    }

    void show_condition() {
        const ServerCondition& condition = sampler.get_condition();
        if (condition.is_running) {
            std::cout << "the server answers" << std::endl;
        } else {
            std::cout << "the server does not answer: " << condition.failure << std::endl;
        }
        page.notify_condition();
    }

    void sweep() {
        subscriptions.remove_expired();
        loop.call_after(SWEEP_INTERVAL, [this] { sweep(); });
    }

    std::vector<OwnFigure> get_figures() const {
        const HttpServerFigures& figures = server.get_figures();
        const auto number = [](auto count) { return static_cast<double>(count); };
        return {
            {"clients", "gauge", "Connections of clients.", number(figures.clients)},
            {"requests_total", "counter", "Requests of clients.", number(figures.requests)},
            {"refused_clients_total", "counter", "Connections closed because there were too many.",
             number(figures.refused_clients)},
            {"refused_requests_total", "counter",
             "Refused requests: too large, or too many large ones at a time.",
             number(figures.refused_requests)},
            {"message_bytes", "gauge", "Memory of requests and replies in progress.",
             number(memory.get_used())},
            {"subscriptions", "gauge", "Subscriptions of clients.", number(subscriptions.get_size())},
            {"subscribed_items", "gauge", "Items in all subscriptions of clients.",
             number(subscriptions.get_items())},
            {"pages", "gauge", "Pages that are open in browsers.", number(page.get_pages())},
            {"watched_items", "gauge", "Different items that clients or pages watch.",
             number(table.get_watched())},
            {"server_connections", "gauge", "Connections to the server.",
             number(http_client.get_connections())},
            {"server_requests_total", "counter", "Requests to the server.",
             number(http_client.get_requests())},
            {"server_polls_total", "counter", "Polls of the subscription at the server.",
             number(sampler.get_polls())},
        };
    }

    Task<> say_farewell() {
        subscriptions.close();
        server.close();
        co_await sampler.stop();
        http_client.close();
        wait_for_clients();
    }

    void wait_for_clients() {
        if (server.get_figures().clients == 0 && http_client.get_connections() == 0) {
            has_ended = true;
            loop.stop();
        } else {
            loop.call_after(std::chrono::milliseconds(10), [this] { wait_for_clients(); });
        }
    }

    AsioLoop& loop;
    MemoryBudget memory;
    HttpClient http_client;
    ServerClient client;
    ItemTable table;
    Sampler sampler;
    SubscriptionTable subscriptions;
    const ServiceParts service_parts;
    SoapServices services;
    PageApi page;
    Metrics metrics;
    Router router;
    HttpServer server;
    bool is_stopping = false;
    bool has_ended = false;
};

Gateway::Gateway(AsioLoop& loop, const Arguments& arguments)
    : parts_(std::make_unique<GatewayParts>(loop, arguments)) {}

Gateway::~Gateway() = default;

std::uint16_t Gateway::start() {
    const std::uint16_t port = parts_->server.start();
    parts_->sampler.start();
    parts_->sweep();
    return port;
}

bool Gateway::has_ended() const {
    return parts_->has_ended;
}

void Gateway::stop() {
    if (std::exchange(parts_->is_stopping, true)) {
        parts_->loop.stop();  // asked for a second time
        return;
    }
    parts_->loop.call_after(LONGEST_FAREWELL, [this] { parts_->loop.stop(); });
    spawn(parts_->say_farewell());
}

}  // namespace gateway
