#pragma once

#include "support/TestServer.h"

#include <information_model/InformationModel.h>

#include <string>

namespace xmlda::testing {

/// A server in the test's process with a small tree of fixed values and times:
/// - /boiler ("Steam boiler 1", B-001): temperature 21.5 degC, setpoint 180 (writable, 0 to 400), zones
/// [1.5, 2.5],
///   kind (enumerated, historyAvailable, writable), burner true (writable), bytes [1, 200] (writable)
/// - /texts: note "two\nlines", list ["a, b", "", "c"], pause of 90 s (all writable)
/// All timestamps are 2026-01-02T03:04:05Z.
class Host {
public:
    Host();

    std::string get_url() const { return "http://127.0.0.1:" + std::to_string(server_.get_port()); }

    /// Sets a variable's value, and its timestamp to that of all others.
    void set(const std::string& path, const kx::information_model::Value& value);

    /// Adds a variable below "/texts".
    void add(const std::string& name, const kx::information_model::Value& value);

    /// Removes it.
    void remove(const std::string& name);

    /// Sets a variable's quality.
    void set_quality(const std::string& path, kx::information_model::symbol_list::QUALITY quality);

    /// The value of a variable.
    kx::information_model::Value get(const std::string& path);

private:
    kx::information_model::Domain& get_texts();
    kx::information_model::Variable& get_variable(const std::string& path);

    kx::information_model::opc::testing::TestServer server_;
};

/// The time that all variables of a `Host` carry, as it is printed.
inline const std::string HOST_TIME = "2026-01-02T03:04:05Z";
/// The same, as people in a zone two hours to the east see it.
inline const std::string LOCAL_TIME = "2026-01-02 05:04:05.000";

}  // namespace xmlda::testing
