#pragma once

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

// Of the sanitizers, where there is one.
extern "C" void __sanitizer_symbolize_pc(void* address, const char* format, char* text, std::size_t size)
    __attribute__((weak));

/// What the system says of a process, by its id; of the test's own unless one is given.
namespace kx::information_model::opc::testing {

/// How many files it has open.
inline std::size_t count_open_files(const std::string& process = "self") {
    // For the first name that a sanitizer needs it starts a program, and keeps two pipes to it.
    if (char name = '\0'; process == "self" && __sanitizer_symbolize_pc != nullptr) {
        __sanitizer_symbolize_pc(__builtin_return_address(0), "%f", &name, sizeof name);
    }
    const std::filesystem::directory_iterator files("/proc/" + process + "/fd");
    return static_cast<std::size_t>(std::distance(begin(files), end(files)));
}

/// The number in a line of its status, for example "Threads:" or, in KiB, "VmRSS:".
inline std::size_t read_process_status(const std::string& name, const std::string& process = "self") {
    std::ifstream status("/proc/" + process + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with(name)) {
            return std::stoul(line.substr(name.size()));
        }
    }
    throw std::runtime_error("no such line: " + name);
}

inline std::size_t count_threads(const std::string& process = "self") {
    return read_process_status("Threads:", process);
}

}  // namespace kx::information_model::opc::testing
