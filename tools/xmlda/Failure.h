#pragma once

#include "client/errors.h"
#include "xmlda/ExitStatus.h"

#include <exception>
#include <stdexcept>
#include <string>

namespace xmlda {

/// Something went wrong that the person at the terminal must know: one line, without the program's name,
/// and the exit status that goes with it. Texts of a server are in it as they came: whoever prints the line
/// makes them printable.
class Failure : public std::runtime_error {
public:
    Failure(ExitStatus status, const std::string& message) : std::runtime_error(message), status_(status) {}

    ExitStatus get_status() const { return status_; }

private:
    ExitStatus status_;
};

/// The server answered with a SOAP fault.
class ServerFault : public Failure {
public:
    explicit ServerFault(const Fault& fault)
        : Failure(ExitStatus::FAULT, fault.what()), code_(fault.get_code()) {}

    /// Without prefix, for example "E_NOSUBSCRIPTION".
    const std::string& get_code() const { return code_; }

private:
    std::string code_;
};

/// Whoever read our output has gone away: no reason to complain.
class OutputClosed : public Failure {
public:
    OutputClosed() : Failure(ExitStatus::FAILURE, "standard output is closed") {}
};

/// Ctrl-C was pressed while something was waited for.
class Interrupted : public std::exception {
public:
    const char* what() const noexcept override { return "interrupted"; }
};

}  // namespace xmlda
