#pragma once

#include <netinet/in.h>
#include <sys/socket.h>

#include <chrono>
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

/// A time-out of that descriptor: `SO_SNDTIMEO` or `SO_RCVTIMEO`. -1 if there is no such descriptor.
inline std::chrono::seconds get_timeout(int file, int option) {
    timeval timeout{};
    socklen_t size = sizeof timeout;
    const bool is_known = getsockopt(file, SOL_SOCKET, option, &timeout, &size) == 0;
    return std::chrono::seconds(is_known ? timeout.tv_sec : -1);
}

}  // namespace kx::information_model::opc::testing
