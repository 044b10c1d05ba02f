#pragma once

#include "load/HostProcess.h"
#include "load/HostUpdates.h"
#include "support/TlsFiles.h"

#include <cstddef>

namespace kx::benchmarks {

using information_model::opc::testing::TlsFiles;

/// @name What can be measured
///
/// Arguments that are references outlive the result; a null certificate means plain HTTP.
/// @{

/// The library's server on a tree made by `build_tree`.
Serve serve_tree(std::size_t variables, const TlsFiles* certificate = nullptr);

/// The same, with a host that changes the tree meanwhile.
Serve serve_changing_tree(std::size_t variables, LockWaits& waits);

/// What the network costs: an HTTP server of the same make, which reads the request and answers with as many
/// bytes as the path of the request says.
Serve serve_constant_replies(const TlsFiles* certificate = nullptr);

/// Read, out of such a tree, by a server that gSOAP generated. Null unless it has been built.
Serve serve_peer(std::size_t variables);
/// @}

/// The request that the server of constant replies answers with `reply_size` bytes.
std::string create_constant_request(const std::string& body, std::size_t reply_size);

}  // namespace kx::benchmarks
