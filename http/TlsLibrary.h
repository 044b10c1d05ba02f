#pragma once

#include <Poco/Net/Context.h>

#include <mutex>
#include <optional>
#include <string>

namespace kx::information_model::opc {

/// Both in PEM form, the key without a pass phrase.
struct TlsFiles {
    std::string certificate;
    std::string private_key;
};

/// @return nothing if one of the names is empty: the server then speaks plain HTTP
std::optional<TlsFiles> to_tls_files(const std::string& certificate, const std::string& private_key);

/// A server's share in the TLS library, which POCO sets up once for the process.
///
/// Taken before any TLS object is made, and released before the server ends its connections. TLS objects keep
/// the library alive by themselves. It is a base class of the server, so that it is made first, and released
/// if the construction fails.
class TlsLibrary {
public:
    /// Takes it if it is needed. Requires: `get_mutex()` held, if so.
    explicit TlsLibrary(bool is_needed);
    TlsLibrary(const TlsLibrary&) = delete;
    TlsLibrary& operator=(const TlsLibrary&) = delete;
    ~TlsLibrary() { give_back(); }

    /// Requires: `get_mutex()` held, if it was needed.
    void give_back();

    /// Held to make or release what servers with TLS share, for which POCO has no lock. Objects that hold the
    /// last reference to a TLS object are destroyed under it as well.
    static std::mutex& get_mutex();

private:
    bool is_taken_;
};

/// Makes the context of a server and installs it as that of all server sockets made later.
/// @throws Poco::Net::SSLContextException  if the files cannot be read, or do not belong together
Poco::Net::Context::Ptr install_tls_context(const TlsFiles& files);

}  // namespace kx::information_model::opc
