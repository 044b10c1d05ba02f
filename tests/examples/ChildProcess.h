#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

namespace kx::information_model::opc::testing {

/// A program that a test runs beside itself, with its standard output and error at hand. Killed, if it still
/// runs, when it is destroyed. Everything that waits fails with an exception after 60 seconds.
class ChildProcess {
public:
    /// @param command  the program's path, followed by its arguments
    explicit ChildProcess(std::vector<std::string> command);
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;
    ~ChildProcess();

    /// The next line of the standard output, without its line break; nothing at the end of the output.
    std::optional<std::string> read_line();

    void send_signal(int number) const;

    /// Waits for the program's end.
    /// @return its exit status, or the negative number of the signal that ended it
    int wait();

    /// What the program wrote and `read_line` has not returned. Requires: `wait` has returned.
    std::string get_output();
    std::string get_error_output();

private:
    /// The reading end of a pipe, and what has been read from it.
    struct Stream {
        int descriptor = -1;
        std::string buffer;
    };

    /// Reads on; false at the stream's end.
    static bool fill(Stream& stream);

    pid_t process_ = -1;
    Stream output_;
    Stream error_output_;
};

}  // namespace kx::information_model::opc::testing
