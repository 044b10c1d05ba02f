#include "examples/Plant.h"

namespace kx::information_model::opc::testing {

Plant::Plant(const std::vector<std::string>& arguments) : HostProcess(create_plant_command(arguments)) {
    example_ = get_process().read_line().value_or("");
}

std::vector<std::string> create_plant_command(const std::vector<std::string>& arguments) {
    std::vector<std::string> command = {KX_PLANT, "--port", "0"};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return command;
}

}  // namespace kx::information_model::opc::testing
