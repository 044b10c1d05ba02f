#pragma once

#include <Poco/Net/Context.h>

#include <string>

namespace Poco::Net {
class VerificationErrorArgs;
}

namespace xmlda {

/// How to find out that a server is who it says it is, and who we are.
struct TlsSettings {
    bool is_insecure = false;      ///< take every certificate
    std::string authorities_file;  ///< PEM; trust these instead of the system's authorities; may be empty
    std::string certificate_file;  ///< PEM; our own certificate, with `private_key_file`; may be empty
    std::string private_key_file;
};

/// TLS for a client. One at a time in a process, used by one thread.
class TlsContext {
public:
    /// @throws Failure  TLS_FAILURE: a file cannot be read or holds no certificate or key
    explicit TlsContext(const TlsSettings& settings);
    TlsContext(const TlsContext&) = delete;
    TlsContext& operator=(const TlsContext&) = delete;
    ~TlsContext();

    Poco::Net::Context::Ptr get() const { return context_; }

    /// Why the latest certificate that was refused was refused; empty if none was.
    const std::string& get_refusal() const { return refusal_; }

private:
    void take_refusal(const void* sender, Poco::Net::VerificationErrorArgs& arguments);

    Poco::Net::Context::Ptr context_;
    std::string refusal_;
};

}  // namespace xmlda
