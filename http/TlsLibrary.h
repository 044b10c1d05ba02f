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

/// A server's share in the TLS library, for as long as the server needs it: POCO's set-up is the process's.
///
/// Taken before anything of TLS is made, and given back before the server ends its connections. What is made
/// of TLS keeps the library alive by itself. A base class of the server, so that it comes first, and is given
/// back where the construction fails.
class TlsLibrary {
public:
    /// Takes it if it is needed. Requires: `get_mutex()` held, if so.
    explicit TlsLibrary(bool is_needed);
    TlsLibrary(const TlsLibrary&) = delete;
    TlsLibrary& operator=(const TlsLibrary&) = delete;
    ~TlsLibrary() { give_back(); }

    /// Requires: `get_mutex()` held, if it was needed.
    void give_back();

    /// Whoever holds it makes or gives back what servers with TLS share, for which POCO has no lock. Whatever
    /// holds the last reference to something of TLS is destroyed under it as well.
    static std::mutex& get_mutex();

private:
    bool is_taken_;
};

/// Makes the context of a server and installs it as that of all server sockets made later.
/// @throws Poco::Net::SSLContextException  if the files cannot be read, or do not belong together
Poco::Net::Context::Ptr install_tls_context(const TlsFiles& files);

}  // namespace kx::information_model::opc
