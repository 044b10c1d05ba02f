#pragma once

#include "client/requests.h"
#include "xmlda/http/HttpTransport.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace xmlda {

enum class Command { STATUS, BROWSE, READ, GET, WRITE, WATCH, RECORD, REPLAY };

/// How changes are printed.
enum class Format { TEXT, JSON, CSV, INFLUX };

/// A value that a person wants to be written.
struct Assignment {
    ItemAddress address;
    std::string text;
};

/// What the command line asks for.
struct Arguments {
    Command command = Command::STATUS;
    std::string url;
    std::vector<ItemAddress>
        items;  ///< of read, get and watch; of browse one, with an empty name for the root
    std::vector<Assignment> assignments;  ///< of write
    bool json = false;
    bool show_xml = false;
    HttpSettings http;

    std::optional<bool> has_colors;  ///< if it is said

    bool recursive = false;        ///< of browse, read and watch
    bool properties = false;       ///< of browse
    bool with_values = false;      ///< of browse
    bool names_only = false;       ///< of browse
    bool without_quality = false;  ///< of read, get and watch: do not ask for units and qualities
    bool utc = false;              ///< of read, write and watch: times in full, in UTC

    bool values_only = false;  ///< of read

    std::optional<std::string> type;  ///< of write: of all values, as `to_type_name` gives it
    bool without_values = false;      ///< of write: do not ask for the values after the write
    bool force = false;               ///< of write: also what is outside of an item's limits
    bool dry_run = false;             ///< of write: only show what would be written

    std::chrono::milliseconds interval{1000};           ///< of watch: between two polls
    std::optional<std::chrono::milliseconds> duration;  ///< of watch: how long
    std::optional<std::size_t> count;                   ///< of watch: how many changes
    std::chrono::milliseconds patience{60'000};  ///< of watch: how long to try to get a lost connection back
    std::chrono::milliseconds rediscovery{60'000};  ///< of watch: how often to look for items, 0 for once
    Format format = Format::TEXT;                   ///< of watch
    std::string measurement = "xmlda";              ///< of watch, with `INFLUX`

    std::string database;                                ///< of record and replay: the file
    std::optional<std::chrono::milliseconds> retention;  ///< of record: how long changes are kept
    bool is_quiet = false;                               ///< of record
    std::optional<std::int64_t> from;                    ///< of replay: nanoseconds since 1970
    std::optional<std::int64_t> to;                 ///< of replay: the first moment that is no longer meant
    std::optional<std::chrono::milliseconds> last;  ///< of replay: up to now
};

/// What to do: run the command, or print a text and end.
struct CommandLine {
    Arguments arguments;
    std::optional<std::string> text;  ///< help or version
};

/// Reads the arguments of the program.
/// @throws Failure  USAGE: they are wrong; the message says where and how to get help
CommandLine parse_command_line(int argc, const char* const* argv);

/// What a shell may put in place of the word that is being typed.
struct Completion {
    enum class Kind {
        WORDS,  ///< one of `words`
        FILES,  ///< the name of a file
        ITEMS   ///< what `run_complete` finds
    };
    Kind kind = Kind::WORDS;
    std::vector<std::string> words;  ///< each with a tab and what it is for behind it, or without
    Arguments arguments;             ///< of ITEMS: the command and how the server is reached
};

/// @param words  those behind the program's name; the last one is being typed and may be empty
Completion complete_command_line(const std::vector<std::string>& words);

/// Reads "10", "2.5", "500ms", "10s", "5m", "1h" or "30d"; a number alone counts seconds.
/// @throws Failure  USAGE: anything else, a negative time, and more than ten years
std::chrono::milliseconds parse_duration(const std::string& text);

/// Splits "ITEM=VALUE" at the first "=" that has no backslash in front of it; "\=" in the item's name stands
/// for "=".
/// @throws Failure  USAGE: there is none, or nothing in front of it
Assignment parse_assignment(const std::string& text);

}  // namespace xmlda
