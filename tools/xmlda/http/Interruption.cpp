#include "xmlda/http/Interruption.h"

#include <atomic>
#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace xmlda {
namespace {

std::atomic<int> signalled_descriptor = -1;  // what the handler writes to

void take_signal(int /*number*/) {
    const int earlier_error = errno;
    const char byte = 0;
    [[maybe_unused]] const auto written = ::write(signalled_descriptor.load(), &byte, 1);
    errno = earlier_error;
}

}  // namespace

Interruption::Interruption() {
    if (::pipe2(pipe_.data(), O_CLOEXEC | O_NONBLOCK) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe");
    }
    signalled_descriptor = pipe_[1];
    struct sigaction action = {};
    action.sa_handler = take_signal;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    sigemptyset(&action.sa_mask);
    for (std::size_t i = 0; i < SIGNALS.size(); ++i) {
        sigaction(SIGNALS.at(i), &action, &earlier_actions_.at(i));
    }
}

Interruption::~Interruption() {
    for (std::size_t i = 0; i < SIGNALS.size(); ++i) {
        sigaction(SIGNALS.at(i), &earlier_actions_.at(i), nullptr);
    }
    signalled_descriptor = -1;
    ::close(pipe_[0]);
    ::close(pipe_[1]);
}

bool Interruption::has_happened() const {
    return wait(Deadline(std::chrono::milliseconds(0)));
}

bool Interruption::wait(const Deadline& deadline) const {
    pollfd entry = {.fd = pipe_[0], .events = POLLIN, .revents = 0};
    int count = 0;
    do {
        count = ::poll(&entry, 1, static_cast<int>(deadline.get_remaining().count()));
    } while (count < 0 && errno == EINTR);
    return count > 0;
}

}  // namespace xmlda
