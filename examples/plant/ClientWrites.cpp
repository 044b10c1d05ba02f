#include "ClientWrites.h"

#include "describe.h"

#include <information_model/Variable.h>

#include <iostream>
#include <mutex>

namespace plant {

using namespace kx::information_model;

ClientWrites::ClientWrites(Domain& root) {
    watch(root);
}

void ClientWrites::watch(const Domain& domain) {
    for (const std::unique_ptr<Tree>& child : domain.get_children()) {
        if (const auto* const branch = dynamic_cast<Domain*>(child.get())) {
            watch(*branch);
        } else if (auto* const variable = dynamic_cast<Variable*>(child.get());
                   variable != nullptr && variable->get_writable().value_or(false)) {
            registrations_.push_back(variable->on_write([](const Path& path, const Value& value) {
                print_line("a client wrote " + path.as_string() + ": " + describe(value));
            }));
        }
    }
}

void print_line(const std::string& line) {
    static std::mutex mutex;
    const std::lock_guard lock(mutex);
    std::cout << line << std::endl;
}

}  // namespace plant
