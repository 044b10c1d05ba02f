#include "gateway/Arguments.h"

#include <algorithm>
#include <charconv>
#include <fstream>
#include <memory>

#include <CLI/CLI.hpp>

namespace gateway {
namespace {

constexpr char DESCRIPTION[] =
    "Gateway for one OPC XML-DA server: a page for browsers, the eight services of\n"
    "the published schema for clients, and metrics for Prometheus.";

constexpr char FOOTER[] = R"(Open the address that the gateway prints in a browser. Clients use the same
address. The service description is at /?wsdl, the metrics are at /metrics.

Examples:
  kx-gateway http://127.0.0.1:8080
  kx-gateway http://plc7:8080 --address 0.0.0.0 --name gateway.example.com
  kx-gateway http://127.0.0.1:8080 --metrics /boiler --metrics /turbine
  kx-gateway https://plc7:8443 --ca plc7.pem --certificate gateway.pem --private-key gateway.key

Everybody who reaches the gateway can write what the server lets clients write.
For users and passwords, put a reverse proxy in front of it.

Exit status: 0 ended by Ctrl-C or SIGTERM, 1 failure, 2 wrong arguments.)";

/// Help without the remarks that CLI11 adds to options: what is worth saying is in their descriptions.
class HelpFormatter : public CLI::Formatter {
public:
    HelpFormatter() {
        column_width(COLUMN_WIDTH);
        label("Positionals", "Arguments");
    }

    std::string make_option_opts(const CLI::Option* option) const override {
        const bool is_flag = option->get_type_size() == 0;
        return is_flag || option->get_positional() ? "" : ' ' + option->get_type_name();
    }

private:
    static constexpr std::size_t COLUMN_WIDTH = 30;
};

/// A number that is read as a text, so that the message is ours.
struct NumberOption {
    std::string name;
    unsigned long least;
    unsigned long most;
    std::string text;

    unsigned long get(unsigned long otherwise) const {
        if (text.empty()) {
            return otherwise;
        }
        unsigned long number = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
        if (error != std::errc() || end != text.data() + text.size() || number < least || number > most) {
            throw ArgumentError(name + ": '" + text + "' is not a whole number from " +
                                std::to_string(least) + " to " + std::to_string(most));
        }
        return number;
    }
};

class Parser {
public:
    Parser() {
        app_.formatter(std::make_shared<HelpFormatter>());
        app_.set_help_flag("--help", "Show this help");
        app_.set_version_flag("--version", "kx-gateway " GATEWAY_VERSION, "Show the version");
        app_.footer(FOOTER);
        app_.add_option("SERVER-URL", arguments_.server, "The server, for example http://127.0.0.1:8080")
            ->required()
            ->type_name("");
        app_.add_option("--address", arguments_.address, "IP address to listen on (127.0.0.1)")
            ->type_name("ADDRESS");
        add_number(port_, "Port to listen on (8090), 0 for any");
        app_.add_option("--name", arguments_.names,
                        "Host name that clients use for the gateway;\nmay be repeated")
            ->type_name("NAME")
            ->expected(1)
            ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
        app_.add_option("--metrics", arguments_.metrics, "Branch to show in /metrics (all); may be repeated")
            ->type_name("PATH")
            ->expected(1)
            ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
        add_file("--certificate", arguments_.certificate.certificate_file,
                 "PEM file with the gateway's certificate, for HTTPS");
        add_file("--private-key", arguments_.certificate.private_key_file,
                 "PEM file with the key of the certificate");
        add_file("--ca", arguments_.trust.authorities_file,
                 "PEM file with the certificates to trust for an\nhttps:// server, instead of the system's");
        app_.add_flag("--insecure", arguments_.trust.is_insecure,
                      "Trust any certificate of an https:// server");
        app_.add_flag("--read-only", arguments_.read_only, "Refuse all writes");
        add_number(sample_, "Milliseconds between two polls of the server (250)");
        add_number(server_patience_, "Seconds to wait for a reply of the server (10)");
        add_number(largest_request_, "Largest request, in MiB (16)");
        add_number(most_clients_, "Client connections at a time (10000)");
        add_number(most_memory_, "Memory for requests and replies in progress, in\nMiB (512)");
        add_number(most_items_, "Items in all subscriptions together (100000)");
        add_number(most_subscriptions_, "Subscriptions of one client address (100)");
        add_number(client_patience_, "Seconds without progress after which a client is\ndisconnected (60)");
    }

    Arguments parse(int argc, const char* const* argv) {
        try {
            app_.parse(argc, argv);
        } catch (const CLI::CallForHelp&) {
            arguments_.to_print = app_.help();
            return arguments_;
        } catch (const CLI::CallForVersion&) {
            arguments_.to_print = "kx-gateway " GATEWAY_VERSION "\n";
            return arguments_;
        } catch (const CLI::ParseError& error) {
            throw ArgumentError(get_message(error));
        }
        take_numbers();
        check_tls();
        return arguments_;
    }

private:
    void add_file(const std::string& name, std::string& file, const std::string& description) {
        app_.add_option(name, file, description)->type_name("FILE")->check([](const std::string& given) {
            return std::ifstream(given) ? std::string() : "cannot read the file '" + given + "'";
        });
    }

    void check_tls() const {
        if (arguments_.certificate.certificate_file.empty() !=
            arguments_.certificate.private_key_file.empty()) {
            throw ArgumentError("--certificate and --private-key must be given together");
        }
        const bool has_trust = arguments_.trust.is_insecure || !arguments_.trust.authorities_file.empty();
        if (has_trust && !arguments_.server.starts_with("https://")) {
            throw ArgumentError("--ca and --insecure are only for https:// servers, not for '" +
                                arguments_.server + "'");
        }
        if (arguments_.trust.is_insecure && !arguments_.trust.authorities_file.empty()) {
            throw ArgumentError("--ca and --insecure cannot be used together");
        }
    }

    void add_number(NumberOption& option, const std::string& description) {
        app_.add_option(option.name, option.text, description)->type_name("NUMBER");
    }

    static std::string get_message(const CLI::ParseError& error) {
        std::string message = error.what();
        std::replace(message.begin(), message.end(), '\n', ' ');
        if (message == "SERVER-URL is required") {
            return "the URL of the server is missing, for example http://127.0.0.1:8080";
        }
        return message;
    }

    void take_numbers() {
        arguments_.port = static_cast<std::uint16_t>(port_.get(arguments_.port));
        arguments_.sample = std::chrono::milliseconds(sample_.get(250));
        arguments_.server_patience = std::chrono::seconds(server_patience_.get(10));
        arguments_.largest_request = largest_request_.get(arguments_.largest_request);
        arguments_.most_clients = most_clients_.get(arguments_.most_clients);
        arguments_.most_memory = most_memory_.get(arguments_.most_memory);
        arguments_.most_items = most_items_.get(arguments_.most_items);
        arguments_.most_subscriptions = most_subscriptions_.get(arguments_.most_subscriptions);
        arguments_.client_patience = std::chrono::seconds(client_patience_.get(60));
    }

    Arguments arguments_;
    NumberOption port_{"--port", 0, 65535, ""};
    NumberOption sample_{"--sample", 10, 60'000, ""};
    NumberOption server_patience_{"--server-patience", 1, 600, ""};
    NumberOption largest_request_{"--max-request", 1, 1024, ""};
    NumberOption most_clients_{"--max-clients", 1, 1'000'000, ""};
    NumberOption most_memory_{"--max-memory", 1, 65'536, ""};
    NumberOption most_items_{"--max-items", 1, 10'000'000, ""};
    NumberOption most_subscriptions_{"--max-subscriptions", 1, 1'000'000, ""};
    NumberOption client_patience_{"--client-patience", 1, 3600, ""};
    CLI::App app_{DESCRIPTION, "kx-gateway"};
};

}  // namespace

Arguments parse_arguments(int argc, const char* const* argv) {
    return Parser().parse(argc, argv);
}

}  // namespace gateway
