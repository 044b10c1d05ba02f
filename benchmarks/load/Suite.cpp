#include "load/Suite.h"

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

Section create_section(std::string_view title) {
    return {std::string(title),
            "CPU us",
            {"request B", "reply B", "CPU us", "floor us", "above us", "peer us", "of peer", "us/unit",
             "requests/s"},
            {}};
}

Row to_row(const Case& test, const Measurement& found) {
    return {test.name,
            {static_cast<double>(found.request_size), static_cast<double>(found.reply_size), found.cpu_us,
             found.floor_us, found.above_floor_us, found.peer_us, found.of_peer,
             found.cpu_us / static_cast<double>(test.units), found.requests_per_second}};
}

Stage create_stage(std::size_t variables, bool with_peer) {
    Stage stage;
    stage.ours = std::make_unique<HostProcess>(serve_tree(variables));
    stage.floor = std::make_unique<HostProcess>(serve_constant_replies());
    if (const Serve peer = serve_peer(variables); with_peer && peer) {
        stage.peer = std::make_unique<HostProcess>(peer);
    }
    return stage;
}

/// How far the resident memory of a server grows for its first large request.
Row measure_growth(const std::string& name, const HostProcess& host, const std::string& body) {
    post(host, create_read_request(1, VARIABLES));
    const std::size_t before = host.get_resident_size();
    host.reset_peak_resident_size();
    const auto reply_size = static_cast<double>(post(host, body).size());
    const auto growth = static_cast<double>(host.get_peak_resident_size() - before);
    const auto request_size = static_cast<double>(body.size());
    return {name, {request_size, reply_size, growth, growth / (request_size + reply_size)}};
}

}  // namespace

Suite::Suite(SuiteOptions options)
    : options_(std::move(options)),
      plan_(options_.quick ? Plan{3, std::chrono::milliseconds(30), std::chrono::seconds(3)}
                           : Plan{9, std::chrono::milliseconds(150), std::chrono::seconds(30)}) {}

std::vector<Section> Suite::run() const {
    std::vector<Section> sections;
    for (const auto measure_section :
         {&Suite::measure_services, &Suite::measure_types, &Suite::measure_tree_sizes,
          &Suite::measure_clients, &Suite::measure_tls, &Suite::measure_updates, &Suite::measure_memory}) {
        Section section = std::invoke(measure_section, this);
        if (!section.rows.empty()) {
            sections.push_back(std::move(section));
        }
    }
    return sections;
}

std::string Suite::describe() const {
    return "Processor time of the server (user and system) for one request: medians of " +
           std::to_string(plan_.rounds) + " rounds in turns of " + std::to_string(plan_.turn.count()) +
           " ms, after one round to warm up.";
}

Section Suite::measure_services() const {
    Section section = create_section(SERVICES_TITLE);
    measure(section, create_service_cases(VARIABLES, options_.quick), VARIABLES);
    return section;
}

Section Suite::measure_types() const {
    Section section = create_section("Read of 1000 by type");
    measure(section, create_type_cases(), VARIABLES);
    return section;
}

Section Suite::measure_tree_sizes() const {
    Section section = create_section("Read by variables in the tree");
    for (const std::size_t variables : Sizes{1'000, 10'000, 100'000, 1'000'000}) {
        if (options_.quick && variables > 100'000) {
            continue;
        }
        std::vector<Case> cases{create_read_case(1000, variables, "1000 of " + std::to_string(variables))};
        if (variables > 1000) {
            cases.push_back(create_read_case(variables, variables, "all of " + std::to_string(variables)));
        }
        measure(section, cases, variables);
    }
    return section;
}

Section Suite::measure_clients() const {
    Section section = create_section("Read of 100 by clients");
    measure(section, create_client_cases(VARIABLES), VARIABLES);
    return section;
}

Section Suite::measure_tls() const {
    Section section = create_section("With TLS");
    const auto cases = create_tls_cases(VARIABLES);
    if (std::none_of(cases.begin(), cases.end(),
                     [&](const Case& one) { return is_wanted(section, one.name); })) {
        return section;
    }
    const TlsFiles certificate;
    Stage stage;
    stage.ours = std::make_unique<HostProcess>(serve_tree(VARIABLES, &certificate));
    stage.floor = std::make_unique<HostProcess>(serve_constant_replies(&certificate));
    stage.protection = PROTECTION::TLS;
    measure(section, cases, stage);
    return section;
}

Section Suite::measure_updates() const {
    Section section{"Host's wait for the lock", "median ms", get_lock_wait_columns(), {}};
    const auto length = std::chrono::seconds(options_.quick ? 1 : 10);
    for (const Readers& readers : get_readers()) {
        if (is_wanted(section, readers.name)) {
            section.rows.push_back(measure_lock_waits(readers, VARIABLES, length));
        }
    }
    return section;
}

Section Suite::measure_memory() const {
    Section section{
        std::string(MEMORY_TITLE), "growth B", {"request B", "reply B", "growth B", "times both"}, {}};
    const std::string name = "Read 100000";
    if (is_wanted(section, name)) {
        const std::string body = create_read_request(100'000, VARIABLES);
        const Stage stage = create_stage(VARIABLES, options_.with_peer);
        section.rows.push_back(measure_growth(name, *stage.ours, body));
        if (stage.peer != nullptr) {
            section.rows.push_back(measure_growth(name + ", peer", *stage.peer, body));
        }
    }
    return section;
}

bool Suite::is_wanted(const Section& section, const std::string& name) const {
    return (section.title + ": " + name).find(options_.filter) != std::string::npos;
}

void Suite::measure(Section& section, const std::vector<Case>& cases, std::size_t variables) const {
    const auto wanted = [&](const Case& one) { return is_wanted(section, one.name); };
    if (std::any_of(cases.begin(), cases.end(), wanted)) {
        const bool with_peer =
            options_.with_peer && std::any_of(cases.begin(), cases.end(), std::mem_fn(&Case::with_peer));
        measure(section, cases, create_stage(variables, with_peer));
    }
}

void Suite::measure(Section& section, const std::vector<Case>& cases, const Stage& stage) const {
    for (const Case& test : cases) {
        if (is_wanted(section, test.name)) {
            std::cerr << section.title << ": " << test.name << '\n';
            section.rows.push_back(to_row(
                test, measure_in_turns(stage, plan_, test.create_body(stage), test.with_peer, test.clients)));
        }
    }
}

}  // namespace kx::benchmarks
