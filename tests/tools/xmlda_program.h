#pragma once

#include "support/ChildProcess.h"

#include <map>
#include <string>
#include <vector>

namespace xmlda::testing {

using kx::information_model::opc::testing::ChildProcess;
using kx::information_model::opc::testing::Outcome;

/// Runs the client with these arguments until it ends.
/// @param variables  environment variables to be set besides those of the test
Outcome run_xmlda(const std::vector<std::string>& arguments,
                  const std::map<std::string, std::string>& variables = {});

/// Expects this exit status, exactly this on standard error, and nothing else.
void expect_failure(const Outcome& outcome, int status, const std::string& errors);

/// The client's program and these arguments.
std::vector<std::string> get_xmlda_command(const std::vector<std::string>& arguments);

}  // namespace xmlda::testing
