#include "support/ChildProcess.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace kx::information_model::opc::testing {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds PATIENCE(120);
constexpr int POLL_TIME = 50;  // ms

[[noreturn]] void throw_system_error(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

std::array<int, 2> create_pipe() {
    std::array<int, 2> ends;
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
        throw_system_error("pipe");
    }
    return ends;
}

/// The side of a new terminal that a test reads, and the one that a program writes to.
std::array<int, 2> create_terminal() {
    const int reader = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (reader < 0 || ::grantpt(reader) != 0 || ::unlockpt(reader) != 0) {
        throw_system_error("terminal");
    }
    const winsize size = {.ws_row = 12, .ws_col = 100, .ws_xpixel = 0, .ws_ypixel = 0};
    ::ioctl(reader, TIOCSWINSZ, &size);
    const int writer = ::open(::ptsname(reader), O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (writer < 0) {
        throw_system_error("terminal");
    }
    return {reader, writer};
}

std::vector<char*> to_pointers(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (std::string& text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

std::vector<std::string> create_environment(std::map<std::string, std::string> variables) {
    variables.insert({{"LC_ALL", "C.UTF-8"}, {"TERM", "xterm"}});
    std::vector<std::string> settings;
    for (char** setting = environ; *setting != nullptr; ++setting) {
        const std::string text = *setting;
        if (!variables.contains(text.substr(0, text.find('=')))) {
            settings.push_back(text);
        }
    }
    for (const auto& [name, value] : variables) {
        settings.push_back(name + '=' + value);
    }
    return settings;
}

/// Whether a sanitizer has found something in the program that printed this. That is a failure of the test
/// that ran it: a report of the thread sanitizer does not end a program.
bool holds_report(const std::string& text) {
    return text.find("Sanitizer: ") != std::string::npos ||
           text.find(": runtime error: ") != std::string::npos;
}

int to_status(int wait_status) {
    return WIFEXITED(wait_status) ? WEXITSTATUS(wait_status) : 128 + WTERMSIG(wait_status);
}

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& command, Place place,
                           const std::map<std::string, std::string>& variables) {
    if (place == Place::TERMINAL) {
        const auto [reader, writer] = create_terminal();
        streams_ = {{reader, &outcome_.output}};
        start(command, variables, writer, writer, true);
        ::close(writer);
        return;
    }
    const auto [output, output_end] = create_pipe();
    const auto [errors, errors_end] = create_pipe();
    streams_ = {{output, &outcome_.output}, {errors, &outcome_.errors}};
    start(command, variables, output_end, errors_end, false);
    ::close(output_end);
    ::close(errors_end);
}

ChildProcess::~ChildProcess() {
    if (process_ > 0) {
        ::kill(process_, SIGKILL);
        ::waitpid(process_, nullptr, 0);
    }
    for (Stream& stream : streams_) {
        pollfd entry = {.fd = stream.descriptor, .events = POLLIN, .revents = 0};
        while (::poll(&entry, 1, 0) > 0 && read_stream(stream)) {
        }
        ::close(stream.descriptor);
    }
    for (const std::string& text : {outcome_.output, outcome_.errors}) {
        if (holds_report(text)) {
            ADD_FAILURE() << "a sanitizer has reported: " << text;
        }
    }
}

void ChildProcess::wait_for(const std::function<bool(const Outcome&)>& condition) {
    const auto deadline = Clock::now() + PATIENCE;
    while (!condition(outcome_)) {
        const bool is_open = read_some();
        if ((!is_open && !condition(outcome_)) || Clock::now() > deadline) {
            throw std::runtime_error("what was waited for did not come; output so far: " + outcome_.output +
                                     outcome_.errors);
        }
    }
}

void ChildProcess::wait_for_output(const std::string& text) {
    wait_for([&text](const Outcome& outcome) { return outcome.output.find(text) != std::string::npos; });
}

void ChildProcess::wait_for_errors(const std::string& text) {
    wait_for([&text](const Outcome& outcome) { return outcome.errors.find(text) != std::string::npos; });
}

void ChildProcess::send_signal(int number) const {
    ::kill(process_, number);
}

void ChildProcess::close_output() {
    ::close(streams_.front().descriptor);
    streams_.erase(streams_.begin());
}

std::optional<std::string> ChildProcess::read_line() {
    const auto deadline = Clock::now() + PATIENCE;
    std::size_t end = std::string::npos;
    while ((end = outcome_.output.find('\n')) == std::string::npos) {
        if (!read_some() && outcome_.output.find('\n') == std::string::npos) {
            return std::nullopt;
        }
        if (Clock::now() > deadline) {
            throw std::runtime_error("no line came; output so far: " + outcome_.output + outcome_.errors);
        }
    }
    std::string line = outcome_.output.substr(0, end);
    outcome_.output.erase(0, end + 1);
    return line;
}

Outcome ChildProcess::wait() {
    const auto deadline = Clock::now() + PATIENCE;
    while (read_some()) {
        if (Clock::now() > deadline) {
            throw std::runtime_error("the program did not end; output so far: " + outcome_.output +
                                     outcome_.errors);
        }
    }
    int wait_status = 0;
    ::waitpid(process_, &wait_status, 0);
    process_ = -1;
    outcome_.status = to_status(wait_status);
    return outcome_;
}

void ChildProcess::start(const std::vector<std::string>& command,
                         const std::map<std::string, std::string>& variables, int output, int errors,
                         bool is_terminal) {
    // Between fork and exec only what is safe in a process of many threads: everything is made ready before.
    std::vector<std::string> texts = command;
    const std::vector<char*> arguments = to_pointers(texts);
    std::vector<std::string> settings = create_environment(variables);
    const std::vector<char*> environment = to_pointers(settings);
    process_ = ::fork();
    if (process_ < 0) {
        throw_system_error("fork");
    }
    if (process_ > 0) {
        return;
    }
    if (is_terminal) {
        ::setsid();
    }
    ::dup2(::open("/dev/null", O_RDONLY | O_CLOEXEC), STDIN_FILENO);
    ::dup2(output, STDOUT_FILENO);
    ::dup2(errors, STDERR_FILENO);
    ::execve(arguments.front(), arguments.data(), environment.data());
    ::_exit(127);
}

bool ChildProcess::read_some() {
    std::vector<pollfd> entries;
    for (const Stream& stream : streams_) {
        entries.push_back({.fd = stream.descriptor, .events = POLLIN, .revents = 0});
    }
    ::poll(entries.data(), entries.size(), POLL_TIME);
    for (std::size_t i = entries.size(); i-- > 0;) {
        if (entries[i].revents != 0 && !read_stream(streams_[i])) {
            ::close(streams_[i].descriptor);
            streams_.erase(streams_.begin() + static_cast<std::ptrdiff_t>(i));
        }
    }
    return !streams_.empty();
}

bool ChildProcess::read_stream(Stream& stream) {
    std::array<char, 4096> buffer;
    const ssize_t count = ::read(stream.descriptor, buffer.data(), buffer.size());
    if (count > 0) {
        stream.text->append(buffer.data(), static_cast<std::size_t>(count));
    }
    return count > 0;  // a terminal that nobody writes to any more ends with an error
}

}  // namespace kx::information_model::opc::testing
