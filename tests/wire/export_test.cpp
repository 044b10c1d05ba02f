#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <memory>
#include <regex>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

// What the shared library shows to the programs that link it.
namespace {

std::vector<std::string> run(const std::string& command) {
    const std::unique_ptr<FILE, decltype(&pclose)> pipe(popen(command.c_str(), "r"), &pclose);
    if (pipe == nullptr) {
        throw std::runtime_error("cannot run " + command);
    }
    std::string output;
    std::array<char, 4096> bytes;
    while (const std::size_t count = fread(bytes.data(), 1, bytes.size(), pipe.get())) {
        output.append(bytes.data(), count);
    }
    std::vector<std::string> lines;
    std::istringstream stream(output);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

/// The names of the symbols that `nm` lists, without their addresses and kinds.
std::set<std::string> get_defined_symbols(const std::string& library) {
    std::set<std::string> symbols;
    for (std::string line : run("nm -DC --defined-only '" + library + "'")) {
        line = std::regex_replace(line, std::regex("^[0-9a-f]+ . "), "");
        line = std::regex_replace(line, std::regex(R"(std::(__cxx11::)?basic_string<char, [^&]*> >)"),
                                  "std::string");
        symbols.insert(std::regex_replace(line, std::regex(R"(\[abi:cxx11\])"), ""));
    }
    return symbols;
}

/// The libraries that the dynamic linker loads with it, without those of the compiler and its sanitizers.
std::set<std::string> get_needed_libraries(const std::string& library) {
    std::set<std::string> needed;
    const std::regex pattern(R"(\(NEEDED\).*\[(.*?)\.so.*\])");
    for (const std::string& line : run("readelf -d '" + library + "'")) {
        std::smatch match;
        if (std::regex_search(line, match, pattern)) {
            needed.insert(match[1]);
        }
    }
    for (const char* runtime : {"libstdc++", "libgcc_s", "libc", "libm", "ld-linux-x86-64",
                                "ld-linux-aarch64", "libasan", "libubsan", "libtsan"}) {
        needed.erase(runtime);
    }
    return needed;
}

TEST(ServerLibrary, ExportsWhatItsHeaderDeclares) {
    const std::string server = "kx::information_model::opc::Server";
    const std::string text = "std::string const&";
    const std::string port = "unsigned short const&";
    const std::string model = "std::shared_ptr<kx::information_model::InformationModel> const&";
    const std::string constructor = server + "::Server(" + text + ", ";
    EXPECT_THAT(
        get_defined_symbols(KX_SERVER_LIBRARY),
        ::testing::UnorderedElementsAre(
            constructor + port + ", " + text + ", " + text + ", " + model + ")",
            constructor + port + ", " + model + ")", constructor + model + ")",
            constructor + text + ", " + text + ", " + model + ")", server + "::~Server()",
            server + "::start()", server + "::stop()",
            server + "::stop(std::chrono::duration<long, std::ratio<1l, 1000l> >)",
            server + "::get_port() const", server + "::get_address() const",
            server + "::is_tls_enabled() const", "kx::information_model::opc::add_worker_threads(int)",
            "kx::information_model::opc::describe(std::exception const&)", "typeinfo for " + server,
            "typeinfo name for " + server, "vtable for " + server));
}

TEST(ServerLibrary, NeedsNothingUnexpected) {
    if (std::string(KX_SANITIZERS) != "") {
        GTEST_SKIP() << "linked with a sanitizer, a library needs all that it could need";
    }
    EXPECT_THAT(get_needed_libraries(KX_SERVER_LIBRARY),
                ::testing::UnorderedElementsAre("libkxinformationmodel", "libPocoFoundation", "libPocoNet",
                                                "libPocoNetSSL", "libPocoXML", "libexpat", "libssl"));
}

// Threads of POCO's that have served may end later than a host wants to unload it, with code of it.
TEST(ServerLibrary, IsNeverUnloaded) {
    EXPECT_THAT(run("readelf -d '" KX_SERVER_LIBRARY "'"),
                ::testing::Contains(::testing::HasSubstr("NODELETE")));
}

TEST(ModelLibrary, NeedsNothingButTheRuntime) {
    EXPECT_THAT(get_needed_libraries(KX_MODEL_LIBRARY), ::testing::IsEmpty());
}

}  // namespace
