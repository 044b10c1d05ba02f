// Preloaded into a program, lets every look-up of a host's name hang, as a name server does that does not
// answer.

#include <netdb.h>
#include <unistd.h>

extern "C" {

__attribute__((visibility("default"))) int getaddrinfo(const char* /*name*/, const char* /*service*/,
                                                       const addrinfo* /*hints*/, addrinfo** /*result*/) {
    constexpr char NOTICE[] = "looking up\n";
    [[maybe_unused]] const auto written = ::write(STDERR_FILENO, NOTICE, sizeof(NOTICE) - 1);
    while (true) {
        ::pause();
    }
}
}
