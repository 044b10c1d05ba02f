#pragma once

#include "client/Quality.h"
#include "xmlda/ExitStatus.h"
#include "xmlda/Failure.h"

#include <ostream>
#include <string>

namespace xmlda {

/// How large a terminal is, in characters.
struct TerminalSize {
    std::size_t columns = 80;
    std::size_t rows = 24;
};

/// Where a command prints: standard output for what was asked for, standard error for all else.
class Console {
public:
    Console(std::ostream& output, std::ostream& errors);

    std::ostream& get_output() { return output_; }
    std::ostream& get_errors() { return errors_; }

    /// Whether the output is a terminal that lines can be drawn over on.
    bool is_live() const { return is_live_; }
    bool is_error_terminal() const { return is_error_terminal_; }

    /// Whether the output takes UTF-8.
    bool has_lines() const { return has_lines_; }

    /// Whether the output is a terminal: then it is written for people, else for programs.
    bool is_terminal() const { return is_terminal_; }

    /// How wide the lines of the output may be.
    std::size_t get_width() const;

    bool has_colors() const { return has_colors_; }

    /// Colours only where somebody sees them, and wants them (NO_COLOR), unless this says otherwise.
    void set_colors(bool has_colors) { has_colors_ = has_colors; }

    /// The style, one of Style.h, or nothing where the output is without colours.
    std::string get_style(const char* style) const { return has_colors_ ? style : ""; }

    /// The style that a quality deserves.
    std::string get_style(const Quality& quality) const;

    /// The output terminal's size at present.
    TerminalSize get_size() const;

    /// Prints "xmlda: " and the message on standard error, in one line and safe for a terminal.
    void report(const std::string& message);

    /// Prints the failure and remembers its status, unless an earlier one is remembered already.
    void report(const Failure& failure);
    void report(ExitStatus status, const std::string& message) { report(Failure(status, message)); }

    /// The status of the first failure, or SUCCESS.
    ExitStatus get_status() const { return status_; }

    /// Passes on what was printed.
    /// @throws OutputClosed  if it was for a reader that has gone away
    /// @throws Failure       FAILURE: it cannot be written
    void flush();

private:
    std::ostream& output_;
    std::ostream& errors_;
    const bool is_terminal_;
    const bool is_error_terminal_;
    const bool is_live_;
    const bool has_lines_;
    bool has_colors_;
    ExitStatus status_ = ExitStatus::SUCCESS;
};

}  // namespace xmlda
