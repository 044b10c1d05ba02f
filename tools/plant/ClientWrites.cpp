#include "ClientWrites.h"

#include "describe.h"

#include <iostream>
#include <mutex>
#include <string>

namespace plant {

using namespace kx::information_model;

ClientWrites::ClientWrites(Domain& root)
    : registration_(root.on_write([](const Path& path, const Value& value) {
          print_line("a client wrote " + path.as_string() + ": " + describe(value));
      })) {}

void print_line(const std::string& line) {
    static std::mutex mutex;
    const std::lock_guard lock(mutex);
    std::cout << line << std::endl;
}

}  // namespace plant
