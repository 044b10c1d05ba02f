#pragma once

#include <filesystem>
#include <string>

namespace kx::benchmarks {

/// A self-signed certificate for localhost and its key, in files of a new directory that is removed with
/// this object.
class TemporaryCertificate {
public:
    /// Runs the command `openssl`.
    /// @throws std::runtime_error  if it fails
    TemporaryCertificate();
    TemporaryCertificate(const TemporaryCertificate&) = delete;
    TemporaryCertificate& operator=(const TemporaryCertificate&) = delete;
    ~TemporaryCertificate();

    std::string get_certificate_file() const { return directory_ / "certificate.pem"; }
    std::string get_key_file() const { return directory_ / "key.pem"; }

private:
    std::filesystem::path directory_;
};

}  // namespace kx::benchmarks
