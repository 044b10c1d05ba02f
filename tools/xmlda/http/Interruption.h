#pragma once

#include "xmlda/http/Deadline.h"

#include <array>
#include <csignal>

namespace xmlda {

/// While it lives, Ctrl-C (and SIGTERM and SIGHUP) does not end the program but makes a file descriptor
/// readable, so that whoever waits on it can end in good order. A second signal of a kind ends the program
/// at once. At most one lives at a time.
class Interruption {
public:
    Interruption();
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;
    ~Interruption();

    bool has_happened() const;

    /// Waits until the deadline.
    /// @return whether a signal came, now or earlier
    bool wait(const Deadline& deadline) const;

    /// Readable once a signal came. Not to be read.
    int get_descriptor() const { return pipe_[0]; }

private:
    static constexpr std::array SIGNALS{SIGINT, SIGTERM, SIGHUP};

    std::array<int, 2> pipe_;
    std::array<struct sigaction, SIGNALS.size()> earlier_actions_;
};

}  // namespace xmlda
