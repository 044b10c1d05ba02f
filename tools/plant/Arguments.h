#pragma once

#include "FaultSchedule.h"

#include <optional>
#include <stdexcept>
#include <string>

namespace plant {

/// What the command line asks for.
struct Arguments {
    std::string address = "127.0.0.1";
    unsigned short port = 8080;    ///< 0 lets the system choose
    std::string certificate_file;  ///< both files are named or none
    std::string private_key_file;
    unsigned int bulk_variables = 0;
    int threads = 16;  ///< worker threads that answer requests
    std::optional<FaultSchedule> faults;
};

/// What to do: serve, or print a text and end.
struct CommandLine {
    Arguments arguments;
    std::optional<std::string> text;  ///< help or version
};

/// The command line is wrong. `what()` says in one line where.
class ArgumentError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Reads the arguments of the program. Each option takes its value from the next argument, or from the same
/// one behind "="; of an option given twice the last counts. Both files are opened once, to find out now
/// whether they can be read.
/// @throws ArgumentError  for an unknown argument, a missing value, a malformed number or one out of range,
///                        a file that cannot be read, and one of the two files without the other
CommandLine parse_command_line(int argc, const char* const* argv);

}  // namespace plant
