#include "load/circumstances.h"

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <thread>

namespace kx::benchmarks {

namespace {

std::string read_processor_name() {
    std::ifstream file("/proc/cpuinfo");
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with("model name")) {
            return line.substr(line.find(':') + 2);
        }
    }
    return "unknown processor";
}

}  // namespace

std::string describe_circumstances() {
    double load = 0;
    getloadavg(&load, 1);
    std::ostringstream text;
    text << std::thread::hardware_concurrency() << " processors (" << read_processor_name()
         << "), load at the start " << load << ", g++ " << __VERSION__;
    return text.str();
}

}  // namespace kx::benchmarks
