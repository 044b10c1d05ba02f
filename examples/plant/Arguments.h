#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace plant {

/// What the command line asks for.
struct Arguments {
    std::string address = "127.0.0.1";
    unsigned short port = 8080;    ///< 0 lets the system choose
    std::string certificate_file;  ///< both files are named or none
    std::string private_key_file;
    unsigned int bulk_variables = 0;
    int threads = 16;  ///< worker threads that answer requests
    bool help = false;
};

/// The command line is wrong. `what()` says in one line where.
class ArgumentError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Reads the arguments that follow the program's name. Each option takes its value from the next argument,
/// or from the same one behind "="; of an option given twice the last counts. Both files are opened once,
/// to find out now whether they can be read.
/// @throws ArgumentError  for an unknown argument, a missing value, a malformed number or one out of range,
///                        a file that cannot be read, and one of the two files without the other
Arguments parse_arguments(const std::vector<std::string>& texts);

/// The text that "--help" prints, with its final line break.
std::string get_help();

}  // namespace plant
