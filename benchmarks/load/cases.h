#pragma once

#include "load/turns.h"

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace kx::benchmarks {

/// A request to measure on a stage, and the name of its row.
struct Case {
    std::string name;
    std::function<std::string(const Stage&)> create_body;
    std::size_t units = 1;     ///< items, properties: what the time is divided by
    bool with_peer = false;    ///< whether the peer can answer it
    bool with_before = false;  ///< whether an earlier version is to answer it as well
    Load load = {};            ///< but for its body
};

/// Properties that Browse reports of each child of "/wide".
inline constexpr std::size_t WIDE_PROPERTIES = 8;

/// A Read, called "Read <items>" unless named otherwise, of a tree with `variables` variables.
Case create_read_case(std::size_t items, std::size_t variables, const std::string& name = "");

/// A request for the state.
Case create_status_case(const std::string& name = "GetStatus");

/// Makes `subscriptions` subscriptions to an item each, which live for an hour after their last poll.
void subscribe(const HostProcess& host, std::size_t subscriptions);

/// @name The cases of a section, for a tree with `variables` variables
/// @{
std::vector<Case> create_service_cases(std::size_t variables, bool quick);
std::vector<Case> create_type_cases();
std::vector<Case> create_client_cases(std::size_t variables);
std::vector<Case> create_tls_cases(std::size_t variables);
/// @}

/// Posts `body` to a server without TLS and returns the reply's body.
std::string post(const HostProcess& host, const std::string& body);

}  // namespace kx::benchmarks
