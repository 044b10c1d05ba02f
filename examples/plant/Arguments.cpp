#include "Arguments.h"

#include <charconv>
#include <fstream>
#include <system_error>

namespace plant {
namespace {

constexpr unsigned int MAXIMUM_PORT = 65535;
constexpr unsigned int MAXIMUM_BULK_VARIABLES = 10'000'000;
constexpr unsigned int MINIMUM_THREADS = 2;  // of the pool
constexpr unsigned int MAXIMUM_THREADS = 1000;

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

std::string parse_file(const std::string& option, const std::string& path) {
    std::ifstream file(path);
    if (file.peek() == std::ifstream::traits_type::eof()) {  // a folder opens, but does not read
        throw ArgumentError(option + ": cannot read the file '" + path + "'");
    }
    return path;
}

/// Walks over the arguments and splits "--option=value".
class Reader {
public:
    explicit Reader(const std::vector<std::string>& texts) : texts_(texts) {}

    bool next() {
        if (position_ == texts_.size()) {
            return false;
        }
        text_ = texts_[position_++];
        const std::size_t equals = text_.find('=');
        has_value_ = text_.starts_with("--") && equals != std::string::npos;
        option_ = has_value_ ? text_.substr(0, equals) : text_;
        value_ = has_value_ ? text_.substr(equals + 1) : "";
        return true;
    }

    const std::string& get_text() const { return text_; }
    const std::string& get_option() const { return option_; }
    bool has_value() const { return has_value_; }

    std::string take_value() {
        if (!has_value_) {
            if (position_ == texts_.size()) {
                throw ArgumentError(option_ + " needs a value");
            }
            value_ = texts_[position_++];
        }
        return value_;
    }

    unsigned int take_number(unsigned int minimum, unsigned int maximum) {
        return parse_number(option_, take_value(), minimum, maximum);
    }

private:
    const std::vector<std::string>& texts_;
    std::size_t position_ = 0;
    std::string text_;
    std::string option_;
    std::string value_;
    bool has_value_ = false;
};

void take_option(Reader& reader, Arguments& arguments) {
    const std::string& option = reader.get_option();
    if (option == "--address") {
        arguments.address = reader.take_value();
    } else if (option == "--port") {
        arguments.port = static_cast<unsigned short>(reader.take_number(0, MAXIMUM_PORT));
    } else if (option == "--certificate") {
        arguments.certificate_file = parse_file(option, reader.take_value());
    } else if (option == "--private-key") {
        arguments.private_key_file = parse_file(option, reader.take_value());
    } else if (option == "--bulk") {
        arguments.bulk_variables = reader.take_number(0, MAXIMUM_BULK_VARIABLES);
    } else if (option == "--threads") {
        arguments.threads = static_cast<int>(reader.take_number(MINIMUM_THREADS, MAXIMUM_THREADS));
    } else if (option == "--help" && !reader.has_value()) {
        arguments.help = true;
    } else {
        throw ArgumentError("unknown argument '" + reader.get_text() + "', --help lists the known ones");
    }
}

}  // namespace

Arguments parse_arguments(const std::vector<std::string>& texts) {
    Arguments arguments;
    for (Reader reader(texts); reader.next();) {
        take_option(reader, arguments);
    }
    // The server would serve plain HTTP, which is not what somebody who names a key expects.
    if (arguments.certificate_file.empty() != arguments.private_key_file.empty()) {
        throw ArgumentError("--certificate and --private-key are given together or not at all");
    }
    return arguments;
}

std::string get_help() {
    return R"(A simulated steam plant, served to OPC XML-DA clients until Ctrl-C ends it.

Usage: kx-plant [options]

  --address A          host name or numeric address to listen on (127.0.0.1)
  --port N             TCP port, 0 lets the system choose (8080)
  --certificate FILE   PEM file; together with --private-key: serve HTTPS
  --private-key FILE   PEM file, without a pass phrase
  --bulk N             add N double variables /bulk/<i/1000>/v<i> (0)
  --threads N          worker threads that answer requests, 2 to 1000 (16)
  --help               print this and end

Once clients can connect it prints "listening on" and the URL, and a line for
each value that a client writes. It ends with status 0 on SIGINT and SIGTERM, 1
if it cannot listen, 2 if the arguments are wrong.
)";
}

}  // namespace plant
