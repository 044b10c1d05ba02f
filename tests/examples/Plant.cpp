#include "examples/Plant.h"

#include "support/replies.h"

#include <stdexcept>

namespace kx::information_model::opc::testing {

Plant::Plant(const std::vector<std::string>& arguments) : process_(create_plant_command(arguments)) {
    const std::string start = "listening on ";
    const std::string line = process_.read_line().value_or("");
    if (!line.starts_with(start)) {
        throw std::runtime_error("the plant does not listen, it says '" + line + "'");
    }
    url_ = line.substr(start.size());
    example_ = process_.read_line().value_or("");
    port_ = static_cast<unsigned short>(std::stoul(url_.substr(url_.rfind(':') + 1)));
}

Reply Plant::call(const std::string& request) const {
    return HttpClient(port_).post(create_request(request));
}

std::vector<std::string> create_plant_command(const std::vector<std::string>& arguments) {
    std::vector<std::string> command = {KX_PLANT, "--port", "0"};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return command;
}

}  // namespace kx::information_model::opc::testing
