#pragma once

#include <netinet/in.h>
#include <sys/socket.h>

#include <filesystem>
#include <string>

namespace kx::information_model::opc::testing {

/// The descriptor of the server's end of the connection from `client_port`, which is in this process; -1 if
/// there is none.
inline int find_server_end(unsigned short client_port) {
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        const int file = std::stoi(entry.path().filename());
        sockaddr_in peer{};
        socklen_t size = sizeof peer;
        if (getpeername(file, reinterpret_cast<sockaddr*>(&peer), &size) == 0 && peer.sin_family == AF_INET &&
            ntohs(peer.sin_port) == client_port) {
            return file;
        }
    }
    return -1;
}

}  // namespace kx::information_model::opc::testing
