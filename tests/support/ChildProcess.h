#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace kx::information_model::opc::testing {

/// What a program left behind.
struct Outcome {
    int status = -1;  ///< the exit status, or 128 and the signal that ended it
    std::string output;
    std::string errors;  ///< empty if it ran on a terminal: both are in `output` then
};

/// A program that a test runs. Its standard input is empty. Killed if the test ends before it does.
class ChildProcess {
public:
    enum class Place {
        PIPES,    ///< standard output and standard error are two pipes
        TERMINAL  ///< both are one terminal of 100 columns and 12 rows
    };

    /// @param command    the program and its arguments
    /// @param variables  environment variables to be set besides those of the test
    explicit ChildProcess(const std::vector<std::string>& command, Place place = Place::PIPES,
                          const std::map<std::string, std::string>& variables = {});
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;
    ~ChildProcess();

    /// Waits until what it has printed so far satisfies the condition; fails with an exception after two
    /// minutes, or if the program ends before.
    void wait_for(const std::function<bool(const Outcome&)>& condition);

    /// Waits until the output holds this text.
    void wait_for_output(const std::string& text);

    /// Waits until standard error holds this text.
    void wait_for_errors(const std::string& text);

    /// Its process id. Requires: `wait` has not returned.
    pid_t get_id() const { return process_; }

    void send_signal(int number) const;

    /// Nobody reads its standard output any more.
    void close_output();

    /// Waits for the next line of its standard output and takes it out of what the outcome holds. Without
    /// its line break; nothing at the end of the output.
    std::optional<std::string> read_line();

    /// Waits for its end; fails with an exception after two minutes.
    Outcome wait();

    const Outcome& get_outcome() const { return outcome_; }

private:
    struct Stream {
        int descriptor;
        std::string* text;
    };

    void start(const std::vector<std::string>& command, const std::map<std::string, std::string>& variables,
               int output, int errors, bool is_terminal);
    /// Reads what is there, waiting for it at most a little. @return whether any stream is still open
    bool read_some();
    static bool read_stream(Stream& stream);

    pid_t process_ = -1;
    std::vector<Stream> streams_;
    Outcome outcome_;
};

}  // namespace kx::information_model::opc::testing
