#include "load/TemporaryCertificate.h"

#include <cstdlib>
#include <stdexcept>

namespace kx::benchmarks {

namespace {

std::filesystem::path create_directory() {
    std::string name = std::filesystem::temp_directory_path() / "kx-load-XXXXXX";
    if (mkdtemp(name.data()) == nullptr) {
        throw std::runtime_error("cannot create a temporary directory");
    }
    return name;
}

}  // namespace

TemporaryCertificate::TemporaryCertificate() : directory_(create_directory()) {
    const std::string command =
        "openssl req -x509 -newkey rsa:2048 -nodes -days 2 -subj /CN=localhost -keyout '" + get_key_file() +
        "' -out '" + get_certificate_file() + "' 2>/dev/null";
    if (std::system(command.c_str()) != 0) {
        std::filesystem::remove_all(directory_);
        throw std::runtime_error("cannot make a certificate: is the command openssl installed?");
    }
}

TemporaryCertificate::~TemporaryCertificate() {
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
}

}  // namespace kx::benchmarks
