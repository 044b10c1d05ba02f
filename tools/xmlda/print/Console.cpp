#include "xmlda/print/Console.h"

#include "xmlda/print/Style.h"
#include "xmlda/print/Table.h"
#include "xmlda/text/printable.h"

#include <cerrno>
#include <cstdlib>
#include <string_view>
#include <system_error>

#include <langinfo.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace xmlda {
namespace {

bool can_be_drawn_over() {
    const char* const terminal = std::getenv("TERM");
    return ::isatty(STDOUT_FILENO) == 1 && terminal != nullptr && std::string_view(terminal) != "dumb";
}

bool has_text(const char* variable) {
    const char* const text = std::getenv(variable);
    return text != nullptr && *text != '\0';
}

bool is_utf8_locale() {
    return std::string_view(::nl_langinfo(CODESET)) == "UTF-8";
}

/// Whether the output is a pipe that nobody reads any more.
bool is_reader_gone() {
    pollfd entry = {.fd = STDOUT_FILENO, .events = POLLOUT, .revents = 0};
    return ::poll(&entry, 1, 0) > 0 && (entry.revents & POLLERR) != 0;
}

}  // namespace

Console::Console(std::ostream& output, std::ostream& errors)
    : output_(output),
      errors_(errors),
      is_terminal_(::isatty(STDOUT_FILENO) == 1),
      is_error_terminal_(::isatty(STDERR_FILENO) == 1),
      is_live_(can_be_drawn_over()),
      has_lines_(is_utf8_locale()),
      has_colors_(is_live_ && !has_text("NO_COLOR")) {}

std::size_t Console::get_width() const {
    return is_terminal_ ? get_size().columns : Table::ANY_WIDTH;
}

std::string Console::get_style(const Quality& quality) const {
    if (quality.is_bad()) {
        return get_style(style::BAD);
    }
    return quality.is_uncertain() ? get_style(style::UNCERTAIN) : "";
}

TerminalSize Console::get_size() const {
    winsize size = {};
    if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0) {
        return {};
    }
    return {.columns = size.ws_col, .rows = size.ws_row};
}

void Console::report(const std::string& message) {
    errors_ << "xmlda: " << to_printable(message) << std::endl;
}

void Console::report(const Failure& failure) {
    report(std::string(failure.what()));
    if (status_ == ExitStatus::SUCCESS) {
        status_ = failure.get_status();
    }
}

void Console::flush() {
    errno = 0;
    if (!output_.flush()) {
        const int error = errno;
        if (is_reader_gone()) {
            throw OutputClosed();
        }
        throw Failure(ExitStatus::FAILURE,
                      "cannot write to standard output" +
                          (error == 0 ? "" : ": " + std::generic_category().message(error)));
    }
}

}  // namespace xmlda
