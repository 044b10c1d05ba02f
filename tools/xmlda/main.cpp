#include "xmlda/Arguments.h"
#include "xmlda/Failure.h"
#include "xmlda/commands/commands.h"
#include "xmlda/print/Console.h"
#include "xmlda/soap/Client.h"

#include <algorithm>
#include <chrono>
#include <clocale>
#include <csignal>
#include <exception>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace xmlda;

void run_command(Client& client, const Arguments& arguments, Console& console) {
    switch (arguments.command) {
        case Command::STATUS:
            return run_status(client, arguments, console);
        case Command::BROWSE:
            return run_browse(client, arguments, console);
        case Command::READ:
            return run_read(client, arguments, console);
        case Command::GET:
            return run_get(client, arguments, console);
        case Command::WRITE:
            return run_write(client, arguments, console);
        case Command::WATCH:
            return run_watch(client, arguments, console);
        case Command::RECORD:
            return run_record(client, arguments, console);
        case Command::REPLAY:
            return;  // needs no server
    }
}

/// Says once what a server says that is not running as it should. Status, watch and record do so themselves.
void report_states(Client& client, const Arguments& arguments, Console& console) {
    if (arguments.command == Command::STATUS || arguments.command == Command::WATCH ||
        arguments.command == Command::RECORD) {
        return;
    }
    client.on_header([&console, is_said = false](const ReplyHeader& header) mutable {
        if (!is_said && !is_running(header)) {
            is_said = true;
            console.report("the server's state is '" + header.server_state + "'");
        }
    });
}

/// For the completions of shells: prints what may be put in place of the last word, one a line, ":files" for
/// names of files.
void complete(const std::vector<std::string>& words, Console& console) {
    constexpr std::chrono::seconds PATIENCE(2);  // somebody has pressed a key
    Completion completion = complete_command_line(words);
    if (completion.kind == Completion::Kind::ITEMS) {
        Arguments& arguments = completion.arguments;
        arguments.http.time_out = std::min<std::chrono::milliseconds>(arguments.http.time_out, PATIENCE);
        Client client(parse_endpoint(arguments.url), arguments.http, nullptr);
        run_complete(client, arguments, words.back(), console);
    } else if (completion.kind == Completion::Kind::FILES) {
        console.get_output() << ":files\n";
    }
    for (const std::string& word : completion.words) {
        console.get_output() << word << '\n';
    }
    console.flush();
}

void run(int argc, char** argv, Console& console) {
    if (argc > 1 && std::string_view(argv[1]) == "complete") {
        complete({argv + 2, argv + argc}, console);
        return;
    }
    const CommandLine command_line = parse_command_line(argc, argv);
    if (command_line.text) {
        console.get_output() << *command_line.text;
    } else if (command_line.arguments.command == Command::REPLAY) {
        console.set_colors(command_line.arguments.has_colors.value_or(console.has_colors()));
        run_replay(command_line.arguments, console);
    } else {
        const Arguments& arguments = command_line.arguments;
        Client client(parse_endpoint(arguments.url), arguments.http,
                      arguments.show_xml ? &console.get_errors() : nullptr);
        console.set_colors(arguments.has_colors.value_or(console.has_colors()));
        report_states(client, arguments, console);
        run_command(client, arguments, console);
    }
    console.flush();
}

}  // namespace

int main(int argc, char** argv) {
    std::setlocale(LC_CTYPE, "");  // for the widths of characters; numbers stay as they are
    std::signal(SIGPIPE,
                SIG_IGN);  // a server or a reader of our output that goes away is an error like others
    std::signal(SIGXFSZ, SIG_IGN);  // and so is a file that may grow no further
    Console console(std::cout, std::cerr);
    try {
        run(argc, argv, console);
    } catch (const OutputClosed& failure) {
        return static_cast<int>(failure.get_status());
    } catch (const Failure& failure) {
        console.report(failure);
    } catch (const std::exception& error) {
        console.report(ExitStatus::FAILURE, error.what());
    }
    return static_cast<int>(console.get_status());
}
