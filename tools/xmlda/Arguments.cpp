#include "xmlda/Arguments.h"

#include "client/type_names.h"
#include "xmlda/Failure.h"
#include "xmlda/print/clock_text.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <map>
#include <numeric>

namespace xmlda {
namespace {

constexpr unsigned int LARGEST_REPLY = 1024;  // MiB
constexpr char CONNECTION[] = "Connection";   // the group of options in the help
constexpr char PASSWORD_VARIABLE[] = "XMLDA_PASSWORD";
constexpr char URL_VARIABLE[] = "XMLDA_URL";

const std::vector<std::string> FORMATS = {"text", "json", "csv", "influx"};

constexpr char DESCRIPTION[] =
    "Browses, reads, writes, watches and records the items of OPC XML-DA 1.0 servers.";

constexpr char FOOTER[] = R"(Run 'xmlda COMMAND --help' or 'man xmlda' for more.
The variable XMLDA_URL may hold the URL.

Examples:
  xmlda browse http://127.0.0.1:8080 --recursive --values
  xmlda read http://127.0.0.1:8080 /boiler/temperature /boiler/mode
  xmlda read http://127.0.0.1:8080 '/boiler/*'
  xmlda write http://127.0.0.1:8080 /boiler/temperature_setpoint=190
  xmlda watch http://127.0.0.1:8080 /boiler/temperature --for 10
  xmlda record http://127.0.0.1:8080 -r /boiler --database plant.db
  xmlda replay --database plant.db /boiler/temperature --last 1h

Exit status: 0 done, 1 other failure, 2 wrong arguments, 3 unknown host, 4 no
connection, 5 TLS failure, 6 timeout, 7 fault, 8 "Bad request", 9 other HTTP
error, 10 unexpected content, 11 item missing from the reply, 12 error code for
an item, 13 not written, 14 bad quality, 15 server not running.)";

constexpr char WRITE_FOOTER[] = R"(The server is asked for each item's type first. Values by type:
  boolean            true or false, on or off, yes or no, 1 or 0
  numbers            in the type's range; double and float also INF, -INF, NaN
  string             everything after the first "=", unchanged
  dateTime           2026-11-21T10:11:12Z
  duration           P1DT2H3M4.5S
  enumerated         the number, or the name that the server gives it
  arrays             1,2,3 or [1, 2, 3]; [] is empty. Members with commas,
                     brackets or blanks at an end need quotes: ["a, b", c]
Write an "=" in an item's name as "\=". Nothing is written unless all values fit
their types and the limits that the server gives.)";

Failure create_usage_failure(const std::string& message) {
    return {ExitStatus::USAGE, message};
}

/// The text with at most one empty line in a row.
std::string without_gaps(std::string text) {
    for (std::size_t gap = text.find("\n\n\n"); gap != std::string::npos; gap = text.find("\n\n\n", gap)) {
        text.erase(gap, 1);
    }
    return text;
}

/// CLI11 takes an argument in brackets apart as a list, but "[PLC]N7[0]" is an item's name: a mark in front
/// keeps it whole.
constexpr char BRACKET_MARK = '\x01';

/// The arguments as CLI11 wants them: marked, without the program's name, the last one first.
std::vector<std::string> to_cli_texts(const std::vector<std::string>& arguments) {
    std::vector<std::string> texts;
    for (auto text = arguments.rbegin(); text != arguments.rend(); ++text) {
        texts.push_back(text->starts_with('[') ? BRACKET_MARK + *text : *text);
    }
    return texts;
}

/// The arguments behind the program's name; "help COMMAND" is "COMMAND --help".
std::vector<std::string> get_words(int argc, const char* const* argv) {
    std::vector<std::string> words(argv + std::min(argc, 1), argv + argc);
    if (!words.empty() && words.front() == "help") {
        words.erase(words.begin());
        words.resize(std::min<std::size_t>(words.size(), 1));
        words.emplace_back("--help");
    }
    return words;
}

/// How many letters must be changed, put in or left out to make one text of the other.
std::size_t get_distance(const std::string& left, const std::string& right) {
    std::vector<std::size_t> row(right.size() + 1);
    std::iota(row.begin(), row.end(), 0U);
    for (std::size_t i = 0; i < left.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i + 1;
        for (std::size_t j = 0; j < right.size(); ++j) {
            const std::size_t above = row[j + 1];
            const std::size_t changed = diagonal + (left[i] == right[j] ? 0 : 1);
            row[j + 1] = std::min({changed, above + 1, row[j] + 1});
            diagonal = above;
        }
    }
    return row.back();
}

/// ", did you mean '...'?" with the name that is meant probably, or nothing.
std::string suggest(const std::string& text, const std::vector<std::string>& names) {
    constexpr std::size_t MOST_MISTAKES = 2;
    const auto best = std::min_element(names.begin(), names.end(), [&](const auto& left, const auto& right) {
        return get_distance(text, left) < get_distance(text, right);
    });
    const bool is_near = best != names.end() && get_distance(text, *best) <= MOST_MISTAKES;
    return is_near ? ", did you mean '" + *best + "'?" : "";
}

/// The lines of a file of items, "-" for standard input: names, with item paths behind a tab. Empty lines and
/// those that begin with "#" are passed over.
std::vector<ItemAddress> read_items(const std::string& file) {
    std::ifstream opened;
    if (file != "-") {
        opened.open(file);
    }
    std::istream& stream = file == "-" ? std::cin : opened;
    std::vector<ItemAddress> items;
    for (std::string line; std::getline(stream, line);) {
        if (line.ends_with('\r')) {
            line.pop_back();
        }
        if (!line.empty() && !line.starts_with('#')) {
            const std::size_t tab = line.find('\t');
            items.push_back({line.substr(0, tab), tab == std::string::npos ? "" : line.substr(tab + 1)});
        }
    }
    if (!stream.eof()) {
        throw create_usage_failure("cannot read '" + file + "'");
    }
    if (items.empty()) {
        throw create_usage_failure("'" + file + "' contains no item names");
    }
    return items;
}

/// Names that "--type" takes.
std::vector<std::string> list_writable_types() {
    std::vector<std::string> types = {"unsignedByte"};
    for (const char* const type :
         {"boolean", "string", "double", "float", "decimal", "long", "int", "short", "byte", "unsignedLong",
          "unsignedInt", "unsignedShort", "dateTime", "duration"}) {
        std::string array = type;
        array.front() = static_cast<char>(array.front() - 'a' + 'A');
        types.insert(types.end(), {type, "ArrayOf" + array});
    }
    return types;
}

std::string without_mark(const std::string& text) {
    return text.starts_with(BRACKET_MARK) ? text.substr(1) : text;
}

/// Whether the option has a value, which stands behind it. Others are flags.
bool takes_value(const CLI::Option& option) {
    return option.get_items_expected_max() != 0;
}

/// Help without the remarks that CLI11 adds to options: what is worth saying is in their descriptions.
class HelpFormatter : public CLI::Formatter {
public:
    HelpFormatter() {
        column_width(COLUMN_WIDTH);
        label("SUBCOMMAND", "COMMAND ARGUMENT...");
        label("Positionals", "Arguments");
    }

    std::string make_option_name(const CLI::Option* option, bool is_positional) const override {
        return is_positional ? option->get_type_name() : CLI::Formatter::make_option_name(option, false);
    }

    std::string make_option_opts(const CLI::Option* option) const override {
        return !takes_value(*option) || option->get_positional() ? "" : ' ' + option->get_type_name();
    }

private:
    static constexpr std::size_t COLUMN_WIDTH = 28;
};

/// What is read as text and converted once everything is there.
struct RawArguments {
    std::string url;
    std::vector<std::string> items;
    std::string items_file;
    std::string item_path;
    std::string color;
    std::string user;
    std::string type;
    std::string format;
    unsigned int largest_reply = 64;  // MiB
};

/// The command line: the parser, and where it puts what it finds.
class Parser {
public:
    Parser() {
        app_.formatter(std::make_shared<HelpFormatter>());
        app_.set_version_flag("-V,--version", "xmlda " XMLDA_VERSION, "Show the version");
        app_.set_help_flag("-h,--help", "Show this help");
        app_.require_subcommand(1);
        app_.footer(FOOTER);
        add_status();
        add_browse();
        add_read();
        add_get();
        add_write();
        add_watch();
        add_record();
        add_replay();
    }

    CommandLine parse(const std::vector<std::string>& words) {
        check_names(words);
        try {
            app_.parse(to_cli_texts(words));
        } catch (const CLI::Success& success) {
            return {.arguments = {}, .text = get_text(success)};
        } catch (const CLI::ParseError& error) {
            throw create_failure(explain(error));
        }
        finish();
        return {.arguments = arguments_, .text = std::nullopt};
    }

    /// @param words  those in front of the one that is being typed
    Completion complete(const std::vector<std::string>& words, const std::string& word) {
        const auto command = std::find_if(words.begin(), words.end(),
                                          [](const std::string& text) { return !text.starts_with('-'); });
        const CLI::App* const app = command == words.end() ? &app_ : find_command(*command);
        if (app == nullptr) {
            return {};
        }
        const Position position =
            find_position(*app, {command == words.end() ? words.end() : command + 1, words.end()});
        if (position.option != nullptr) {
            return complete_value(*position.option);
        }
        if (word.starts_with('-')) {
            return create_completion(list_options(*app));
        }
        if (app == &app_) {
            return create_completion(list_commands());
        }
        if (app->get_name() == "replay") {
            return {};
        }
        const bool has_url = position.arguments > 0 || std::getenv(URL_VARIABLE) != nullptr;
        return has_url ? complete_item(words) : create_completion({"http://", "https://"});
    }

private:
    /// Where on the command line of a command a word is typed.
    struct Position {
        const CLI::Option* option = nullptr;  ///< whose value it is
        std::size_t arguments = 0;            ///< in front of it, options and their values left out
    };

    static Position find_position(const CLI::App& app, const std::vector<std::string>& words) {
        Position position;
        for (const std::string& word : words) {
            if (position.option != nullptr) {
                position.option = nullptr;
            } else if (!word.starts_with('-')) {
                ++position.arguments;
            } else if (const CLI::Option* const option = app.get_option_no_throw(word);
                       option != nullptr && takes_value(*option)) {
                position.option = option;
            }
        }
        return position;
    }

    static Completion create_completion(std::vector<std::string> words) {
        return {.kind = Completion::Kind::WORDS, .words = std::move(words), .arguments = {}};
    }

    static Completion complete_value(const CLI::Option& option) {
        if (option.get_type_name() == "FILE") {
            return {.kind = Completion::Kind::FILES, .words = {}, .arguments = {}};
        }
        if (option.check_lname("color")) {
            return create_completion({"auto", "always", "never"});
        }
        if (option.check_lname("format")) {
            return create_completion(FORMATS);
        }
        return option.check_lname("type") ? create_completion(list_writable_types()) : Completion();
    }

    /// The command line as far as it is typed must be right, but for an item.
    Completion complete_item(std::vector<std::string> words) {
        const bool is_write = std::find(words.begin(), words.end(), "write") != words.end();
        words.emplace_back(is_write ? "item=value" : "item");
        try {
            CommandLine line = parse(words);
            if (!line.text && line.arguments.command != Command::REPLAY) {
                return {.kind = Completion::Kind::ITEMS, .words = {}, .arguments = std::move(line.arguments)};
            }
        } catch (const Failure&) {
            // No item may stand here.
        }
        return {};
    }

    std::vector<std::string> list_commands() const {
        std::vector<std::string> lines;
        for (const CLI::App* const app : app_.get_subcommands(nullptr)) {
            lines.push_back(app->get_name() + '\t' + app->get_description());
        }
        return lines;
    }

    static std::vector<std::string> list_options(const CLI::App& app) {
        std::vector<std::string> lines;
        for (const CLI::Option* const option : app.get_options()) {
            std::string description = option->get_description();
            std::replace(description.begin(), description.end(), '\n', ' ');
            for (const std::string& name : option->get_lnames()) {
                lines.push_back("--" + name);
                lines.back().append("\t").append(description);
            }
        }
        return lines;
    }

    /// @return null if there is no such command
    const CLI::App* find_command(const std::string& name) const {
        const auto commands = app_.get_subcommands(nullptr);
        const auto found = std::find_if(commands.begin(), commands.end(), [&name](const CLI::App* candidate) {
            return candidate->get_name() == name;
        });
        return found == commands.end() ? nullptr : *found;
    }

    std::string get_text(const CLI::Success& success) const {
        std::ostringstream stream;
        app_.exit(success, stream, stream);
        std::string text = without_gaps(stream.str());
        // CLI11 knows nothing of what the environment may stand in for.
        const std::string optional = "[PATH=VALUE...]";
        const std::size_t found = text.find(optional);
        return found == std::string::npos ? text : text.replace(found, optional.size(), "PATH=VALUE...");
    }

    std::string explain(const CLI::ParseError& error) const {
        if (dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr) {
            return "unexpected argument '" + without_mark(app_.remaining(true).front()) + "'";
        }
        return app_.get_subcommands().empty() && error.get_name() == "RequiredError"
                   ? "a command is needed: status, browse, read, get, write, watch, record or replay"
                   : error.what();
    }

    Failure create_failure(const std::string& message) const {
        return create_usage_failure(message + " (see xmlda" + get_failed_command() + " --help)");
    }

    /// Whatever else is wrong: a command or an option that there is none of is named first.
    void check_names(const std::vector<std::string>& words) const {
        const auto command = std::find_if(words.begin(), words.end(),
                                          [](const std::string& word) { return !word.starts_with('-'); });
        check_options(app_, {words.begin(), command});
        if (command == words.end()) {
            return;
        }
        const CLI::App* const app = find_command(*command);
        if (app == nullptr) {
            throw create_usage_failure("unknown command '" + *command + "'" +
                                       suggest(*command, get_commands()) + " (see xmlda --help)");
        }
        check_options(*app, {command + 1, words.end()});
    }

    std::vector<std::string> get_commands() const {
        std::vector<std::string> names;
        for (const CLI::App* const app : app_.get_subcommands(nullptr)) {
            names.push_back(app->get_name());
        }
        return names;
    }

    void check_options(const CLI::App& app, const std::vector<std::string>& words) const {
        for (std::size_t i = 0; i < words.size() && words[i] != "--"; ++i) {
            if (words[i].size() < 2 || words[i].front() != '-') {
                continue;
            }
            const bool is_long = words[i].starts_with("--");
            const std::string name = is_long ? words[i].substr(0, words[i].find('=')) : words[i].substr(0, 2);
            const CLI::Option* const option = app.get_option_no_throw(name);
            if (option == nullptr) {
                const std::string command = &app == &app_ ? "" : ' ' + app.get_name();
                throw create_usage_failure(std::string("unknown option '")
                                               .append(name)
                                               .append("'")
                                               .append(suggest(name, get_options(app)))
                                               .append(" (see xmlda")
                                               .append(command)
                                               .append(" --help)"));
            }
            const bool has_value_behind = takes_value(*option) && name == words[i];
            i += has_value_behind ? 1 : 0;
        }
    }

    static std::vector<std::string> get_options(const CLI::App& app) {
        std::vector<std::string> names;
        for (const CLI::Option* const option : app.get_options()) {
            for (const std::string& name : option->get_lnames()) {
                names.push_back("--" + name);
            }
        }
        return names;
    }

    /// The command whose arguments are wrong, with a blank in front; empty if there is none.
    std::string get_failed_command() const {
        const auto commands = app_.get_subcommands();
        return commands.empty() ? "" : ' ' + commands.front()->get_name();
    }

    CLI::App& add_command(const std::string& name, const std::string& description, Command command) {
        CLI::App& app = *app_.add_subcommand(name, description);
        app.group("Commands");
        app.footer("");
        app.callback([this, command] { arguments_.command = command; });
        if (command == Command::REPLAY) {
            return app;
        }
        app.add_option("URL", raw_.url,
                       "http://HOST:PORT/PATH or https://...;\nwithout it that of the variable XMLDA_URL")
            ->type_name("URL");
        return app;
    }

    void add_status() {
        CLI::App& app = add_command("status", "Show what the server says about itself", Command::STATUS);
        add_common(app);
    }

    void add_browse() {
        CLI::App& app = add_command("browse", "Draw the tree of items", Command::BROWSE);
        add_items(app, "Item name to begin at; without one, the root")->type_name("[PATH]");
        app.add_flag("-r,--recursive", arguments_.recursive, "Go down to the leaves");
        auto* const properties =
            app.add_flag("-p,--properties", arguments_.properties, "Show all properties with their values");
        auto* const values = app.add_flag("-v,--values", arguments_.with_values,
                                          "Show values with units, and qualities that are\nnot good");
        auto* const names =
            app.add_flag("--names", arguments_.names_only, "Print only the item names, one a line");
        names->excludes(properties);
        names->excludes(values);
        values->excludes(properties);
        add_item_path(app);
        names->excludes(add_common(app));
    }

    void add_read() {
        CLI::App& app = add_command("read", "Print the values of items", Command::READ);
        add_items(app, "Item names as the server gives them; \"*\" and \"?\"\nstand for parts of names");
        add_choice(app);
        auto* const values =
            app.add_flag("--values", arguments_.values_only, "Print only the values, one a line");
        add_quality(app);
        add_item_path(app);
        values->excludes(add_common(app));
    }

    void add_get() {
        CLI::App& app = add_command("get", "Print only the value of one item, for scripts", Command::GET);
        add_items(app, "Item name as the server gives it");
        app.add_flag("--no-quality", arguments_.without_quality,
                     "Do not ask for the quality; otherwise a bad quality\nis an error");
        add_item_path(app);
        add_common(app);
    }

    /// Which items are meant.
    void add_choice(CLI::App& app) {
        app.add_flag("-r,--recursive", arguments_.recursive, "Take all items below a branch");
        app.add_option("--items", raw_.items_file,
                       "Take the item names in this file as well, one a\nline; \"-\" is standard input")
            ->type_name("FILE");
    }

    void add_quality(CLI::App& app) {
        app.add_flag("--no-quality", arguments_.without_quality,
                     "Do not ask for units and qualities (saves a request)");
        add_utc(app);
    }

    void add_utc(CLI::App& app) {
        app.add_flag("--utc", arguments_.utc, "On a terminal, show times in full, in UTC");
    }

    void add_write() {
        CLI::App& app = add_command("write", "Write values to items", Command::WRITE);
        add_items(app, "Item name and the value to write")->type_name("PATH=VALUE");
        app.add_flag("-n,--dry-run", arguments_.dry_run, "Only show what would be written");
        app.add_flag("--force", arguments_.force, "Also write values outside an item's limits");
        app.add_option("--type", raw_.type,
                       "Type of all values, for example ArrayOfInt;\nwithout it the server is asked")
            ->type_name("TYPE");
        app.add_flag("--without-values", arguments_.without_values,
                     "Do not ask for the values after the write,\nfor items that cannot be read");
        add_utc(app);
        add_item_path(app);
        add_common(app);
        app.footer(WRITE_FOOTER);
    }

    void add_watch() {
        CLI::App& app = add_command("watch", "Show the changes of items until Ctrl-C", Command::WATCH);
        add_items(app, "Item names as the server gives them; \"*\" and \"?\"\nstand for parts of names");
        add_choice(app);
        add_polling(app);
        app.add_option("--count", arguments_.count, "End after N changes, including the first values")
            ->type_name("N")
            ->check(without_description(CLI::Range(1U, 1'000'000'000U)));
        auto* const format = add_format(app);
        add_quality(app);
        add_item_path(app);
        format->excludes(add_common(app));
    }

    void add_polling(CLI::App& app) {
        add_duration(app, "--interval", arguments_.interval, "Time between two polls (1)");
        app.add_option_function<std::string>(
               "--for", [this](const std::string& text) { arguments_.duration = parse_duration(text); },
               "End after this time")
            ->type_name("SECONDS");
        add_duration(app, "--retry", arguments_.patience, "How long to retry a lost connection (60)");
        add_duration(app, "--rediscover", arguments_.rediscovery,
                     "With -r or patterns, look for new and removed\nitems this often (60), 0 for never");
    }

    void add_record() {
        CLI::App& app = add_command("record", "Record the changes of items until Ctrl-C", Command::RECORD);
        add_items(app, "Item names as the server gives them; \"*\" and \"?\"\nstand for parts of names");
        add_choice(app);
        add_database(app);
        app.add_option_function<std::string>(
               "--retain", [this](const std::string& text) { arguments_.retention = parse_duration(text); },
               "How long to keep changes: 30d, 12h (for ever)")
            ->type_name("TIME");
        app.add_flag("--quiet", arguments_.is_quiet, "Do not report what was recorded");
        add_polling(app);
        app.add_flag("--no-quality", arguments_.without_quality,
                     "Do not ask for units and qualities (saves a request)");
        add_item_path(app);
        add_connection(app);
    }

    void add_replay() {
        CLI::App& app = add_command("replay", "Print what was recorded", Command::REPLAY);
        add_items(app, "Item names; \"*\" and \"?\" stand for parts of names;\nwithout one, all items");
        app.add_flag("-r,--recursive", arguments_.recursive, "Take all items below a branch");
        add_database(app);
        auto* const from =
            add_time(app, "--from", arguments_.from,
                     "Begin here: 2026-11-21, 2026-11-21T10:11:12,\nlocal unless \"Z\" or a zone follows");
        auto* const to = add_time(app, "--to", arguments_.to, "End before this time");
        app.add_option_function<std::string>(
               "--last", [this](const std::string& text) { arguments_.last = parse_duration(text); },
               "Only this time up to now: 90, 5m, 1h, 7d")
            ->type_name("TIME")
            ->excludes(from)
            ->excludes(to);
        auto* const format = add_format(app);
        add_utc(app);
        add_item_path(app);
        format->excludes(add_output(app));
    }

    CLI::Option* add_time(CLI::App& app, const std::string& name, std::optional<std::int64_t>& target,
                          const std::string& description) {
        return app
            .add_option_function<std::string>(
                name,
                [&target](const std::string& text) {
                    target = parse_time(text);
                    if (!target) {
                        throw create_usage_failure("'" + text + "' is not a time (2026-11-21T10:11:12)");
                    }
                },
                description)
            ->type_name("TIME");
    }

    void add_database(CLI::App& app) {
        app.add_option("--database", arguments_.database, "SQLite database with the changes")
            ->type_name("FILE")
            ->required();
    }

    /// How changes are printed.
    CLI::Option* add_format(CLI::App& app) {
        app.add_option("--measurement", arguments_.measurement,
                       "With --format influx: the measurement (xmlda)")
            ->type_name("NAME")
            ->check([](const std::string& name) { return std::string(name.empty() ? "is empty" : ""); }, "");
        return app
            .add_option(
                "--format", raw_.format,
                "text, json, csv or influx (text); influx is the\nline protocol of InfluxDB and Telegraf")
            ->type_name("FORMAT")
            ->check(without_description(CLI::IsMember(FORMATS)));
    }

    CLI::Option* add_items(CLI::App& app, const std::string& description) {
        return app.add_option("PATH", raw_.items, description)->type_name("PATH");
    }

    void add_item_path(CLI::App& app) {
        app.add_option("--item-path", raw_.item_path, "ItemPath of all items, for servers that need it")
            ->type_name("TEXT");
    }

    static CLI::Option* add_duration(CLI::App& app, const std::string& name,
                                     std::chrono::milliseconds& target, const std::string& description) {
        return app
            .add_option_function<std::string>(
                name, [&target](const std::string& text) { target = parse_duration(text); }, description)
            ->type_name("SECONDS");
    }

    /// @return the flag "--json"
    CLI::Option* add_common(CLI::App& app) {
        auto* const json = add_output(app);
        add_connection(app);
        return json;
    }

    /// @return the flag "--json"
    CLI::Option* add_output(CLI::App& app) {
        app.set_help_flag("-h,--help", "Show this help");
        auto* const json = app.add_flag("--json", arguments_.json, "Print JSON, for scripts");
        app.add_option("--color", raw_.color, "auto, always or never (auto)")
            ->type_name("WHEN")
            ->check(without_description(CLI::IsMember({"auto", "always", "never"})));
        return json;
    }

    void add_connection(CLI::App& app) {
        app.set_help_flag("-h,--help", "Show this help");
        app.add_flag("--show-xml", arguments_.show_xml, "Show requests and replies on standard error");
        add_limits(app);
        add_identity(app);
    }

    void add_limits(CLI::App& app) {
        add_duration(app, "--timeout", arguments_.http.time_out, "Timeout of each request and its reply (10)")
            ->group(CONNECTION);
        app.add_option("--max-reply", raw_.largest_reply, "Largest reply that is accepted (64)")
            ->type_name("MIB")
            ->check(without_description(CLI::Range(1U, LARGEST_REPLY)))
            ->group(CONNECTION);
    }

    void add_identity(CLI::App& app) {
        TlsSettings& tls = arguments_.http.tls;
        add_file(app, "--ca", tls.authorities_file, "Trust these certificates (PEM) only");
        app.add_flag("--insecure", tls.is_insecure, "Trust any certificate")->group(CONNECTION);
        auto* const certificate =
            add_file(app, "--certificate", tls.certificate_file, "Client certificate (PEM)");
        auto* const key = add_file(app, "--private-key", tls.private_key_file, "Its key (PEM)");
        certificate->needs(key);
        key->needs(certificate);
        app.add_option("--user", raw_.user,
                       "For basic authentication; without PASSWORD that\nof the variable XMLDA_PASSWORD")
            ->type_name("NAME[:PASSWORD]")
            ->group(CONNECTION);
    }

    static CLI::Option* add_file(CLI::App& app, const std::string& name, std::string& target,
                                 const std::string& description) {
        return app.add_option(name, target, description)
            ->type_name("FILE")
            ->check(without_description(CLI::ExistingFile))
            ->group(CONNECTION);
    }

    static CLI::Validator without_description(CLI::Validator validator) { return validator.description(""); }

    void finish() {
        finish_user();
        arguments_.http.maximum_reply_size = std::size_t{raw_.largest_reply} * 1024 * 1024;
        if (!raw_.type.empty()) {
            arguments_.type = to_type_name(raw_.type);
        }
        if (!raw_.color.empty() && raw_.color != "auto") {
            arguments_.has_colors = raw_.color == "always";
        }
        finish_format();
        finish_url();
        for (const std::string& text : raw_.items) {
            add_item(without_mark(text));
        }
        if (!raw_.items_file.empty()) {
            const auto items = read_items(raw_.items_file);
            arguments_.items.insert(arguments_.items.end(), items.begin(), items.end());
        }
        const bool needs_items = arguments_.command != Command::STATUS &&
                                 arguments_.command != Command::BROWSE &&
                                 arguments_.command != Command::REPLAY;
        if (needs_items && arguments_.items.empty() && arguments_.assignments.empty()) {
            throw create_failure(arguments_.command == Command::WRITE ? "PATH=VALUE is required"
                                                                      : "PATH is required");
        }
        if (arguments_.command == Command::BROWSE && arguments_.items.empty()) {
            add_item("");
        }
    }

    void finish_format() {
        static const std::map<std::string, Format> formats = {
            {"text", Format::TEXT}, {"json", Format::JSON}, {"csv", Format::CSV}, {"influx", Format::INFLUX}};
        if (!raw_.format.empty()) {
            arguments_.format = formats.at(raw_.format);
        } else if (arguments_.json) {
            arguments_.format = Format::JSON;
        }
    }

    /// With a URL in the environment only what looks like one is one.
    void finish_url() {
        if (arguments_.command == Command::REPLAY) {
            return;
        }
        const char* const url = std::getenv(URL_VARIABLE);
        arguments_.url = without_mark(raw_.url);
        if (url != nullptr && *url != '\0' && arguments_.url.find("://") == std::string::npos) {
            if (!raw_.url.empty()) {
                raw_.items.insert(raw_.items.begin(), raw_.url);
            }
            arguments_.url = url;
        }
        if (arguments_.url.empty()) {
            throw create_failure("URL is required, here or in the variable XMLDA_URL");
        }
        const std::size_t most = arguments_.command == Command::STATUS ? 0 : 1;
        const bool is_limited =
            most == 0 || arguments_.command == Command::BROWSE || arguments_.command == Command::GET;
        if (is_limited && raw_.items.size() > most) {
            throw create_failure("unexpected argument '" + without_mark(raw_.items[most]) + "'");
        }
    }

    void add_item(const std::string& text) {
        if (arguments_.command == Command::WRITE) {
            arguments_.assignments.push_back(parse_assignment(text));
            arguments_.assignments.back().address.path = raw_.item_path;
        } else {
            arguments_.items.push_back({text, raw_.item_path});
        }
    }

    void finish_user() {
        const std::size_t colon = raw_.user.find(':');
        arguments_.http.user = raw_.user.substr(0, colon);
        if (colon != std::string::npos) {
            arguments_.http.password = raw_.user.substr(colon + 1);
        } else if (const char* const password = std::getenv(PASSWORD_VARIABLE)) {
            arguments_.http.password = password;
        }
    }

    CLI::App app_{DESCRIPTION, "xmlda"};
    RawArguments raw_;
    Arguments arguments_;
};

}  // namespace

CommandLine parse_command_line(int argc, const char* const* argv) {
    return Parser().parse(get_words(argc, argv));
}

Completion complete_command_line(const std::vector<std::string>& words) {
    const std::string word = words.empty() ? "" : words.back();
    Completion completion = Parser().complete({words.begin(), words.end() - (words.empty() ? 0 : 1)}, word);
    std::erase_if(completion.words, [&word](const std::string& line) { return !line.starts_with(word); });
    return completion;
}

std::chrono::milliseconds parse_duration(const std::string& text) {
    static const std::map<std::string, double> units = {{"ms", 1.0},        {"", 1000.0},
                                                        {"s", 1000.0},      {"m", 60'000.0},
                                                        {"h", 3'600'000.0}, {"d", 24 * 3'600'000.0}};
    constexpr double LONGEST = 3660.0 * 24 * 3'600'000;  // ms

    double number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const auto unit = units.find(std::string(end, text.data() + text.size()));
    if (error != std::errc() || unit == units.end() || !(number >= 0 && number * unit->second <= LONGEST)) {
        throw create_usage_failure("'" + text + "' is not a duration (10, 2.5, 500ms, 5m, 1h, 30d)");
    }
    return std::chrono::milliseconds(std::llround(number * unit->second));
}

Assignment parse_assignment(const std::string& text) {
    Assignment assignment;
    std::string& name = assignment.address.name;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '=' && !name.empty()) {
            assignment.text = text.substr(i + 1);
            return assignment;
        }
        const bool is_escape = text[i] == '\\' && i + 1 < text.size() && text[i + 1] == '=';
        i += is_escape ? 1 : 0;
        name += text[i];
    }
    throw create_usage_failure("'" + text + "' is not of the form PATH=VALUE");
}

}  // namespace xmlda
