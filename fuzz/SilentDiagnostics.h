#pragma once

#include <iostream>
#include <streambuf>

namespace kx::fuzz {

/// As long as it lives, diagnostics are made, but nobody reads them.
class SilentDiagnostics : public std::streambuf {
public:
    SilentDiagnostics() : original_(std::cerr.rdbuf(this)) {}
    SilentDiagnostics(const SilentDiagnostics&) = delete;
    SilentDiagnostics& operator=(const SilentDiagnostics&) = delete;
    ~SilentDiagnostics() override { std::cerr.rdbuf(original_); }  // the stream is flushed after that

protected:
    int_type overflow(int_type character) override { return traits_type::not_eof(character); }
    std::streamsize xsputn(const char* /*text*/, std::streamsize size) override { return size; }

private:
    std::streambuf* original_;
};

}  // namespace kx::fuzz
