#include "load/Suite.h"

#include "load/lines.h"
#include "load/lock_waits.h"
#include "load/requests.h"
#include "load/servers.h"

#include <algorithm>
#include <functional>
#include <initializer_list>
#include <iostream>

namespace kx::benchmarks {

namespace {

using Sizes = std::initializer_list<std::size_t>;

constexpr std::size_t VARIABLES = 100'000;

/// @name Names of servers in the lines
/// @{
const std::string OURS = "ours";
const std::string FLOOR = "floor";
const std::string PEER = "peer";
const std::string BEFORE = "before";
/// @}

std::string create_row_name(std::string_view title, const std::string& name) {
    return std::string(title) + ": " + name;
}

void add(Stage& stage, const std::string& name, const Serve& serve, bool is_constant = false) {
    stage.participants.push_back({name, std::make_unique<HostProcess>(serve), is_constant});
}

/// The servers that answer `test`: ours, the floor, and, if it can and is there, the peer and an earlier
/// version.
Stage create_stage(const Case& test, std::size_t variables, const std::string& before) {
    Stage stage;
    add(stage, OURS, serve_tree(variables));
    add(stage, FLOOR, serve_constant_replies(), true);
    if (const Serve peer = serve_peer(variables); test.with_peer && peer) {
        add(stage, PEER, peer);
    }
    if (test.with_before && !before.empty()) {
        stage.participants.push_back({BEFORE, std::make_unique<HostProcess>(before, variables)});
    }
    return stage;
}

/// How far the resident memory of a server grows for its first large request.
Figures measure_growth(const Serve& serve, const std::string& body) {
    const HostProcess host(serve);
    post(host, create_read_request(1, VARIABLES));
    const std::size_t before = host.get_resident_size();
    host.reset_peak_resident_size();
    const auto reply_size = static_cast<double>(post(host, body).size());
    const auto growth = static_cast<double>(host.get_peak_resident_size() - before);
    return {{"request B", static_cast<double>(body.size())}, {"reply B", reply_size}, {"growth B", growth}};
}

std::optional<double> get_resident_size(const Serve& serve) {
    return serve ? std::optional(static_cast<double>(HostProcess(serve).get_resident_size())) : std::nullopt;
}

}  // namespace

Suite::Suite(SuiteOptions options, std::ostream& lines)
    : options_(std::move(options)),
      lines_(lines),
      plan_(options_.quick ? Plan{3, std::chrono::milliseconds(30), std::chrono::seconds(3)}
                           : Plan{9, std::chrono::milliseconds(150), std::chrono::seconds(30)}),
      missing_rows_(options_.rows) {}

void Suite::run() {
    print_plan();
    measure_services();
    measure_types();
    measure_tree_sizes();
    measure_clients();
    measure_tls();
    measure_subscriptions();
    measure_updates();
    measure_peak_memory();
    measure_tree_memory();
    for (const std::string& row : missing_rows_) {
        std::cerr << "no such row: " << row << '\n';
    }
}

void Suite::print_plan() const {
    print_figures(lines_, "Plan", "turns",
                  {{"rounds", plan_.rounds}, {"turn ms", static_cast<double>(plan_.turn.count())}});
}

void Suite::measure_services() {
    measure("Services", create_service_cases(VARIABLES, options_.quick), VARIABLES);
}

void Suite::measure_types() {
    measure("Read of 1000 by type", create_type_cases(), VARIABLES);
}

void Suite::measure_tree_sizes() {
    for (const std::size_t variables : Sizes{1'000, 10'000, 100'000, 1'000'000}) {
        if (options_.quick && variables > 100'000) {
            continue;
        }
        std::vector<Case> cases{create_read_case(1000, variables, "1000 of " + std::to_string(variables))};
        if (variables > 1000) {
            cases.push_back(create_read_case(variables, variables, "all of " + std::to_string(variables)));
        }
        for (Case& one : cases) {
            one.with_before = false;
        }
        measure("Read by variables in the tree", cases, variables);
    }
}

void Suite::measure_clients() {
    measure("Read of 100 by clients", create_client_cases(VARIABLES), VARIABLES);
}

void Suite::measure_tls() {
    const std::string_view title = "With TLS";
    const auto cases = get_wanted(title, create_tls_cases(VARIABLES));
    if (cases.empty()) {
        return;
    }
    const TlsFiles certificate;
    Stage stage;
    add(stage, OURS, serve_tree(VARIABLES, &certificate));
    add(stage, FLOOR, serve_constant_replies(&certificate), true);
    stage.protection = PROTECTION::TLS;
    for (const Case& test : cases) {
        measure(title, test, stage);
    }
}

void Suite::measure_subscriptions() {
    const std::string_view title = "Beside subscriptions";
    const std::size_t subscriptions = options_.quick ? 1'000 : 100'000;
    const Case test = create_status_case("GetStatus beside " + std::to_string(subscriptions));
    if (!is_wanted(title, test.name)) {
        return;
    }
    Stage stage;
    add(stage, OURS, serve_tree(VARIABLES));
    add(stage, FLOOR, serve_constant_replies(), true);
    add(stage, "beside none", serve_tree(VARIABLES));
    subscribe(stage.get_ours(), subscriptions);
    measure(title, test, stage);
}

void Suite::measure_updates() {
    const std::string title = "Host's wait for the lock";
    const auto length = std::chrono::seconds(options_.quick ? 1 : 10);
    for (const Readers& readers : get_readers()) {
        if (is_wanted(title, readers.name)) {
            announce(title, readers.name);
            print_figures(lines_, title, readers.name, measure_lock_waits(readers, VARIABLES, length));
        }
    }
}

void Suite::measure_peak_memory() {
    const std::string title = "Peak memory, fresh server";
    const std::string name = "Read 100000";
    if (!is_wanted(title, name)) {
        return;
    }
    announce(title, name);
    const std::string body = create_read_request(100'000, VARIABLES);
    print_figures(lines_, title, name, measure_growth(serve_tree(VARIABLES), body));
    if (const Serve peer = serve_peer(VARIABLES)) {
        print_figures(lines_, title, name + ", peer", measure_growth(peer, body));
    }
}

void Suite::measure_tree_memory() {
    const std::string title = "Memory by variables";
    for (const std::size_t variables : Sizes{0, 1'000, 10'000, 100'000, 1'000'000}) {
        const std::string name = std::to_string(variables);
        if (is_wanted(title, name) && !(options_.quick && variables > 100'000)) {
            announce(title, name);
            print_figures(lines_, title, name,
                          {{"ours B", get_resident_size(serve_tree(variables))},
                           {"floor B", get_resident_size(serve_constant_replies())},
                           {"peer B", get_resident_size(serve_peer(variables))}});
        }
    }
}

void Suite::announce(std::string_view title, const std::string& name) {
    std::cerr << create_row_name(title, name) << '\n';
    missing_rows_.erase(create_row_name(title, name));
}

bool Suite::is_wanted(std::string_view title, const std::string& name) const {
    const std::string row = create_row_name(title, name);
    return row.find(options_.filter) != std::string::npos &&
           (options_.rows.empty() || options_.rows.contains(row));
}

std::vector<Case> Suite::get_wanted(std::string_view title, const std::vector<Case>& cases) const {
    std::vector<Case> wanted;
    std::copy_if(cases.begin(), cases.end(), std::back_inserter(wanted),
                 [&](const Case& one) { return is_wanted(title, one.name); });
    return wanted;
}

void Suite::measure(std::string_view title, const std::vector<Case>& cases, std::size_t variables) {
    for (const Case& test : get_wanted(title, cases)) {
        measure(title, test, create_stage(test, variables, options_.before));
    }
}

void Suite::measure(std::string_view title, const Case& test, const Stage& stage) {
    announce(title, test.name);
    Load load = test.load;
    load.body = test.create_body(stage);
    print_measurement(lines_, std::string(title), test.name, test.units,
                      measure_in_turns(stage, plan_, load));
}

}  // namespace kx::benchmarks
