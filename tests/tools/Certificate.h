#pragma once

#include <string>

namespace xmlda::testing {

/// A certificate that signed itself, made for one test, with its key, in files of a folder of their own that
/// is removed with it.
class Certificate {
public:
    /// @param names  whom it is for, as OpenSSL writes it: "IP:127.0.0.1" or "DNS:elsewhere.example"
    explicit Certificate(const std::string& names);
    Certificate(const Certificate&) = delete;
    Certificate& operator=(const Certificate&) = delete;
    ~Certificate();

    std::string get_certificate_file() const { return folder_ + "/certificate.pem"; }
    std::string get_private_key_file() const { return folder_ + "/key.pem"; }

private:
    std::string folder_;
};

}  // namespace xmlda::testing
