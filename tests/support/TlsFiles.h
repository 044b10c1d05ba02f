#pragma once

#include <filesystem>
#include <string>

namespace kx::information_model::opc::testing {

/// A certificate that signed itself and its private key, made anew, in files of a temporary directory that is
/// removed with this object.
class TlsFiles {
public:
    /// @param names  whom it is for, as OpenSSL writes it: "IP:127.0.0.1" or "DNS:elsewhere.example"
    explicit TlsFiles(const std::string& names = "IP:127.0.0.1");
    TlsFiles(const TlsFiles&) = delete;
    TlsFiles& operator=(const TlsFiles&) = delete;
    ~TlsFiles();

    std::string get_certificate() const { return get_path("certificate.pem"); }
    std::string get_private_key() const { return get_path("key.pem"); }

    /// Where a file of that name would be.
    std::string get_path(const std::string& name) const { return (directory_ / name).string(); }

    /// Writes a file and returns its path.
    std::string add(const std::string& name, const std::string& content) const;

private:
    std::filesystem::path directory_;
};

}  // namespace kx::information_model::opc::testing
