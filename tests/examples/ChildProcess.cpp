#include "examples/ChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace kx::information_model::opc::testing {

namespace {

constexpr int TIMEOUT_MILLISECONDS = 60'000;

void check(int error, const char* what) {
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), what);
    }
}

/// The reading and the writing end; neither is passed on to child processes.
std::array<int, 2> create_pipe() {
    std::array<int, 2> ends{};
    check(pipe2(ends.data(), O_CLOEXEC) == 0 ? 0 : errno, "pipe2");
    return ends;
}

void wait_until_readable(int descriptor) {
    pollfd entry{descriptor, POLLIN, 0};
    if (poll(&entry, 1, TIMEOUT_MILLISECONDS) <= 0) {
        throw std::runtime_error("the child process neither writes nor ends");
    }
}

}  // namespace

ChildProcess::ChildProcess(std::vector<std::string> command) {
    const std::array<int, 2> output = create_pipe();
    const std::array<int, 2> error_output = create_pipe();
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, output[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, error_output[1], STDERR_FILENO);

    std::vector<char*> arguments;
    for (std::string& argument : command) {
        arguments.push_back(argument.data());
    }
    arguments.push_back(nullptr);
    const int error = posix_spawn(&process_, arguments[0], &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(output[1]);
    close(error_output[1]);
    output_.descriptor = output[0];
    error_output_.descriptor = error_output[0];
    if (error != 0) {
        close(output[0]);
        close(error_output[0]);
    }
    check(error, "posix_spawn");
}

ChildProcess::~ChildProcess() {
    if (process_ > 0) {
        kill(process_, SIGKILL);
        waitpid(process_, nullptr, 0);
    }
    close(output_.descriptor);
    close(error_output_.descriptor);
}

std::optional<std::string> ChildProcess::read_line() {
    std::size_t end = std::string::npos;
    while ((end = output_.buffer.find('\n')) == std::string::npos) {
        if (!fill(output_)) {
            return std::nullopt;
        }
    }
    std::string line = output_.buffer.substr(0, end);
    output_.buffer.erase(0, end + 1);
    return line;
}

void ChildProcess::send_signal(int number) const {
    check(kill(process_, number) == 0 ? 0 : errno, "kill");
}

int ChildProcess::wait() {
    // Its end closes both streams.
    while (fill(output_) || fill(error_output_)) {
    }
    int status = 0;
    waitpid(process_, &status, 0);
    process_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

std::string ChildProcess::get_output() {
    return std::exchange(output_.buffer, {});
}

std::string ChildProcess::get_error_output() {
    return std::exchange(error_output_.buffer, {});
}

bool ChildProcess::fill(Stream& stream) {
    wait_until_readable(stream.descriptor);
    std::array<char, 4096> piece{};
    const ssize_t count = read(stream.descriptor, piece.data(), piece.size());
    if (count > 0) {
        stream.buffer.append(piece.data(), static_cast<std::size_t>(count));
    }
    return count > 0;
}

}  // namespace kx::information_model::opc::testing
