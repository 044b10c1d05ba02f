#pragma once

#include "support/HttpClient.h"
#include "support/TlsFiles.h"

#include <string>

namespace kx::information_model::opc::testing {

/// A client that has shaken hands with 127.0.0.1 and trusts nothing but this certificate.
/// @param own  what it shows when it is asked for a certificate; null for nothing
HttpClient connect_with_tls(unsigned short port, const std::string& certificate,
                            const TlsFiles* own = nullptr);

}  // namespace kx::information_model::opc::testing
