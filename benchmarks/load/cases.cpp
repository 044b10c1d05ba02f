#include "load/cases.h"

#include "load/requests.h"
#include "load/tree.h"

#include <chrono>
#include <initializer_list>

namespace kx::benchmarks {

namespace {

using Sizes = std::initializer_list<std::size_t>;

Case create_plain_case(const std::string& name, const std::string& body, std::size_t units = 1) {
    return {name, [body](const Stage& /*stage*/) { return body; }, units};
}

Case create_write_case(std::size_t items, std::size_t variables) {
    Case one =
        create_plain_case("Write " + std::to_string(items), create_write_request(items, variables), items);
    one.with_before = items == 1'000;
    return one;
}

/// A request for the state on a connection of its own.
Case create_connection_case() {
    Case one = create_status_case("GetStatus, new connection");
    one.load.keeps_connection = false;
    return one;
}

/// A Read that finds caches gone cold.
Case create_cold_case(std::size_t variables) {
    Case one = create_read_case(1, variables, "Read 1 every 5 ms");
    one.load.pause = std::chrono::milliseconds(5);
    return one;
}

Case create_browse_case() {
    Case one = create_plain_case("Browse " + std::to_string(WIDE_CHILDREN), create_browse_request("/wide"),
                                 WIDE_CHILDREN * WIDE_PROPERTIES);
    one.with_before = true;
    return one;
}

/// Polls a subscription none of whose items changes. The first poll, which still reports them all, is over.
Case create_poll_case(std::size_t items, std::size_t variables) {
    const auto subscribe = [items, variables](const Stage& stage) {
        const std::string handle =
            get_server_handle(post(stage.get_ours(), create_subscribe_request(items, variables)));
        const std::string request = create_poll_request(handle);
        post(stage.get_ours(), request);
        return request;
    };
    return {"Poll " + std::to_string(items) + " unchanged", subscribe, items};
}

}  // namespace

Case create_read_case(std::size_t items, std::size_t variables, const std::string& name) {
    return {.name = name.empty() ? "Read " + std::to_string(items) : name,
            .create_body = [items, variables](const Stage&) { return create_read_request(items, variables); },
            .units = items,
            .with_peer = true,
            .with_before = items == 1 || items == 1'000};
}

Case create_status_case(const std::string& name) {
    return create_plain_case(name, create_status_request());
}

void subscribe(const HostProcess& host, std::size_t subscriptions) {
    Connection connection(host.get_port());
    const std::string request = create_http_request(create_subscribe_request(1, 1, std::chrono::hours(1)));
    for (std::size_t number = 0; number < subscriptions; ++number) {
        connection.exchange(request);
    }
}

std::vector<Case> create_service_cases(std::size_t variables, bool quick) {
    std::vector<Case> cases{create_status_case()};
    for (const std::size_t items : Sizes{1, 10, 100, 1'000, 10'000, 100'000}) {
        cases.push_back(create_read_case(items, variables));
    }
    if (!quick) {
        cases.push_back(create_read_case(1'000'000, variables));
    }
    for (const std::size_t items : Sizes{1, 1'000, 10'000}) {
        cases.push_back(create_write_case(items, variables));
    }
    for (const std::size_t items : Sizes{1, 10'000}) {
        cases.push_back(create_poll_case(items, variables));
    }
    cases.push_back(create_browse_case());
    cases.push_back(create_cold_case(variables));
    cases.push_back(create_connection_case());
    return cases;
}

std::vector<Case> create_type_cases() {
    std::vector<Case> cases;
    for (const std::string& type : get_type_names()) {
        cases.push_back(create_plain_case(type, create_type_read_request(type), TYPE_VARIABLES));
    }
    return cases;
}

std::vector<Case> create_client_cases(std::size_t variables) {
    std::vector<Case> cases;
    for (const std::size_t clients : Sizes{1, 2, 4, 8, 16, 64}) {
        Case one = create_read_case(100, variables,
                                    std::to_string(clients) + (clients == 1 ? " client" : " clients"));
        one.with_before = false;
        one.load.clients = clients;
        cases.push_back(one);
    }
    return cases;
}

std::vector<Case> create_tls_cases(std::size_t variables) {
    std::vector<Case> cases{create_status_case()};
    for (const std::size_t items : Sizes{1, 1'000, 10'000}) {
        cases.push_back(create_read_case(items, variables));
    }
    cases.push_back(create_connection_case());
    return cases;
}

std::string post(const HostProcess& host, const std::string& body) {
    return Connection(host.get_port()).exchange(create_http_request(body));
}

}  // namespace kx::benchmarks
