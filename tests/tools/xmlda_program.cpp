#include "xmlda_program.h"

#include <gtest/gtest.h>

namespace xmlda::testing {

Outcome run_xmlda(const std::vector<std::string>& arguments,
                  const std::map<std::string, std::string>& variables) {
    return ChildProcess(get_xmlda_command(arguments), ChildProcess::Place::PIPES, variables).wait();
}

void expect_failure(const Outcome& outcome, int status, const std::string& errors) {
    EXPECT_EQ(outcome.output, "");
    EXPECT_EQ(outcome.errors, errors);
    EXPECT_EQ(outcome.status, status);
}

std::vector<std::string> get_xmlda_command(const std::vector<std::string>& arguments) {
    std::vector<std::string> command = {XMLDA_PROGRAM};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return command;
}

}  // namespace xmlda::testing
