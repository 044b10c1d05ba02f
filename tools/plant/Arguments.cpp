#include "Arguments.h"

#include <CLI/CLI.hpp>

#include <charconv>
#include <fstream>
#include <functional>
#include <sstream>
#include <system_error>

namespace plant {
namespace {

constexpr unsigned int MAXIMUM_PORT = 65535;
constexpr unsigned int MAXIMUM_BULK_VARIABLES = 10'000'000;
constexpr unsigned int MINIMUM_THREADS = 2;  // of the pool
constexpr unsigned int MAXIMUM_THREADS = 1000;
constexpr unsigned int MAXIMUM_SEED = 1'000'000'000;

constexpr char DESCRIPTION[] = "A simulated steam plant, for OPC XML-DA clients. Ctrl-C ends it.";

constexpr char FOOTER[] = R"(When clients can connect, it prints "listening on" and the URL, a command to
try, and then a line for each value that a client writes.

A line of a file of faults is "BEGIN LENGTH sensor ITEM", "BEGIN LENGTH jump ITEM
BY", "BEGIN LENGTH freeze", "BEGIN LENGTH drop" or "repeat PERIOD", with times in
seconds. See 'man kx-plant'.

Exit status: 0 ended by SIGINT or SIGTERM, 1 cannot listen, 2 wrong arguments.)";

unsigned int parse_number(const std::string& option, const std::string& text, unsigned int minimum,
                          unsigned int maximum) {
    unsigned int number = 0;
    const char* const end = text.data() + text.size();
    const auto [stopped_at, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || stopped_at != end || number < minimum || number > maximum) {
        throw ArgumentError(option + " takes a whole number from " + std::to_string(minimum) + " to " +
                            std::to_string(maximum) + ", not '" + text + "'");
    }
    return number;
}

/// The parser, and where it puts what it finds.
class Parser {
public:
    Parser() {
        app_.set_help_flag("-h,--help", "Show this help");
        app_.set_version_flag("-V,--version", "kx-plant " KX_PLANT_VERSION, "Show the version");
        app_.footer(FOOTER);
        app_.get_formatter()->column_width(COLUMN_WIDTH);
        add_option("--address", "ADDRESS", "Host name or numeric address to listen on\n(127.0.0.1)",
                   [this](const std::string& text) { arguments_.address = text; });
        add_number("--port", "TCP port, 0 lets the system choose (8080)", 0, MAXIMUM_PORT, arguments_.port);
        add_file("--certificate", "Certificate (PEM), with --private-key: serve\nHTTPS",
                 arguments_.certificate_file);
        add_file("--private-key", "Its key (PEM), without a pass phrase", arguments_.private_key_file);
        add_number("--bulk", "Add N double variables /bulk/<i/1000>/v<i> (0)", 0, MAXIMUM_BULK_VARIABLES,
                   arguments_.bulk_variables);
        add_number("--threads", "Worker threads that answer requests, 2 to\n1000 (16)", MINIMUM_THREADS,
                   MAXIMUM_THREADS, arguments_.threads);
        add_option("--faults", "N|FILE",
                   "Simulate faults: sensors fail, values jump, time\nstands still, connections drop. Each "
                   "number N gives\nother ones; FILE lists them",
                   [this](const std::string& text) { arguments_.faults = read_faults(text); });
        app_.add_flag("--print-faults", prints_faults_, "Print these faults as a file, and end");
    }

    CommandLine parse(int argc, const char* const* argv) {
        try {
            app_.parse(argc, argv);
        } catch (const CLI::Success& success) {
            std::ostringstream stream;
            app_.exit(success, stream, stream);
            return {.arguments = {}, .text = stream.str()};
        } catch (const CLI::ParseError& error) {
            throw ArgumentError(explain(error));
        }
        // The server would serve plain HTTP, which is not what somebody who names a key expects.
        if (arguments_.certificate_file.empty() != arguments_.private_key_file.empty()) {
            throw ArgumentError("--certificate and --private-key are given together or not at all");
        }
        if (!prints_faults_) {
            return {.arguments = arguments_, .text = std::nullopt};
        }
        if (!arguments_.faults) {
            throw ArgumentError("--print-faults needs --faults");
        }
        std::ostringstream stream;
        arguments_.faults->print(stream);
        return {.arguments = {}, .text = stream.str()};
    }

private:
    static constexpr std::size_t COLUMN_WIDTH = 28;

    std::string explain(const CLI::ParseError& error) const {
        if (dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr) {
            return "unknown argument '" + app_.remaining().front() + "', --help lists the known ones";
        }
        std::string message = error.what();
        if (dynamic_cast<const CLI::ArgumentMismatch*>(&error) != nullptr) {
            return message.substr(0, message.find(':')) + " needs a value";
        }
        return message;
    }

    void add_option(const std::string& name, const std::string& type, const std::string& description,
                    const std::function<void(const std::string&)>& take) {
        app_.add_option_function<std::string>(name, take, description)
            ->type_name(type)
            ->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    }

    template <class Number>
    void add_number(const std::string& name, const std::string& description, unsigned int minimum,
                    unsigned int maximum, Number& number) {
        add_option(name, "N", description, [name, minimum, maximum, &number](const std::string& text) {
            number = static_cast<Number>(parse_number(name, text, minimum, maximum));
        });
    }

    void add_file(const std::string& name, const std::string& description, std::string& path) {
        add_option(name, "FILE", description, [name, &path](const std::string& text) {
            std::ifstream file(text);
            if (file.peek() == std::ifstream::traits_type::eof()) {  // a folder opens, but does not read
                throw ArgumentError(name + ": cannot read the file '" + text + "'");
            }
            path = text;
        });
    }

    static FaultSchedule read_faults(const std::string& text) {
        if (text.find_first_not_of("0123456789") == std::string::npos) {
            return FaultSchedule(parse_number("--faults", text, 0, MAXIMUM_SEED));
        }
        std::ifstream file(text);
        if (file.peek() == std::ifstream::traits_type::eof()) {
            throw ArgumentError("--faults: cannot read the file '" + text + "'");
        }
        return {file, text};
    }

    Arguments arguments_;
    bool prints_faults_ = false;
    CLI::App app_{DESCRIPTION, "kx-plant"};
};

}  // namespace

CommandLine parse_command_line(int argc, const char* const* argv) {
    return Parser().parse(argc, argv);
}

}  // namespace plant
