#pragma once

#include "xmlda/http/Deadline.h"

#include <ostream>
#include <string>

namespace xmlda {

/// A line on a terminal that tells how far long work has come, drawn over a few times a second and wiped at
/// the end. Nothing is shown of work that takes less than half a second.
class Progress {
public:
    /// @param terminal  null to show nothing
    explicit Progress(std::ostream* terminal) : terminal_(terminal) {}
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    ~Progress() { wipe(); }

    void show(const std::string& text);

    /// Takes the line away, before something else is printed.
    void wipe();

private:
    std::ostream* terminal_;
    Deadline next_{std::chrono::milliseconds(500)};
    bool is_shown_ = false;
};

}  // namespace xmlda
