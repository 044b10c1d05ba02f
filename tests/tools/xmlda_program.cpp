#include "xmlda_program.h"

namespace xmlda::testing {

Outcome run_xmlda(const std::vector<std::string>& arguments,
                  const std::map<std::string, std::string>& variables) {
    return ChildProcess(get_xmlda_command(arguments), ChildProcess::Place::PIPES, variables).wait();
}

std::vector<std::string> get_xmlda_command(const std::vector<std::string>& arguments) {
    std::vector<std::string> command = {XMLDA_PROGRAM};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return command;
}

}  // namespace xmlda::testing
