#pragma once

#include <string>

namespace kx::information_model::opc::testing {

/// Takes what is written to standard error, by any thread, while it lives. One at a time.
class StderrCapture {
public:
    StderrCapture();
    StderrCapture(const StderrCapture&) = delete;
    StderrCapture& operator=(const StderrCapture&) = delete;
    ~StderrCapture();

    /// Ends the capture and returns what was written.
    std::string stop();

private:
    bool active_ = true;
};

}  // namespace kx::information_model::opc::testing
