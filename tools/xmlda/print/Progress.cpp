#include "xmlda/print/Progress.h"

namespace xmlda {
namespace {

constexpr char WIPE_LINE[] = "\r\x1b[K";
constexpr std::chrono::milliseconds PERIOD(100);

}  // namespace

void Progress::show(const std::string& text) {
    if (terminal_ == nullptr || !next_.has_passed()) {
        return;
    }
    *terminal_ << WIPE_LINE << text << std::flush;
    is_shown_ = true;
    next_ = Deadline(PERIOD);
}

void Progress::wipe() {
    if (is_shown_) {
        *terminal_ << WIPE_LINE << std::flush;
        is_shown_ = false;
    }
}

}  // namespace xmlda
