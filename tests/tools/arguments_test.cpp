#include "xmlda/Arguments.h"
#include "xmlda/Failure.h"
#include "xmlda/http/Endpoint.h"

#include <gtest/gtest.h>

#include <Poco/TemporaryFile.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace xmlda::testing {
namespace {

using namespace std::chrono_literals;

CommandLine parse(std::vector<const char*> arguments) {
    arguments.insert(arguments.begin(), "xmlda");
    return parse_command_line(static_cast<int>(arguments.size()), arguments.data());
}

template <class Action>
std::string get_refusal(Action action) {
    try {
        action();
        return "(taken)";
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.get_status(), ExitStatus::USAGE);
        return failure.what();
    }
}

std::string refuse(const std::vector<const char*>& arguments) {
    return get_refusal([&] { parse(arguments); });
}

TEST(CommandLine, BrowseBeginsAtTheRoot) {
    const Arguments arguments = parse({"browse", "u"}).arguments;

    EXPECT_EQ(arguments.command, Command::BROWSE);
    EXPECT_EQ(arguments.url, "u");
    ASSERT_EQ(arguments.items.size(), 1U);
    EXPECT_EQ(arguments.items[0].name, "");
    EXPECT_FALSE(arguments.recursive);
}

TEST(CommandLine, OptionsMayStandAnywhere) {
    const Arguments arguments =
        parse({"read", "--timeout", "2.5", "u", "a", "--json", "b", "--item-path", "p"}).arguments;

    EXPECT_EQ(arguments.command, Command::READ);
    EXPECT_TRUE(arguments.json);
    EXPECT_EQ(arguments.http.time_out, 2500ms);
    EXPECT_EQ(arguments.items, (std::vector<ItemAddress>{{"a", "p"}, {"b", "p"}}));
}

TEST(CommandLine, NamesInBracketsAreKeptWhole) {
    const Arguments arguments = parse({"read", "u", "[PLC]N7[0]", "[a,b]", "[]"}).arguments;

    EXPECT_EQ(arguments.items, (std::vector<ItemAddress>{{"[PLC]N7[0]", ""}, {"[a,b]", ""}, {"[]", ""}}));
}

TEST(CommandLine, NamesThatLookLikeOptionsStandBehindTwoDashes) {
    EXPECT_EQ(parse({"read", "u", "--", "--json"}).arguments.items,
              (std::vector<ItemAddress>{{"--json", ""}}));
}

TEST(CommandLine, WriteSplitsAssignments) {
    const Arguments arguments = parse({"write", "u", "a=1=2", "[x]=[1,2]", "--type", "xsd:int"}).arguments;

    ASSERT_EQ(arguments.assignments.size(), 2U);
    EXPECT_EQ(arguments.assignments[0].address.name, "a");
    EXPECT_EQ(arguments.assignments[0].text, "1=2");
    EXPECT_EQ(arguments.assignments[1].address.name, "[x]");
    EXPECT_EQ(arguments.assignments[1].text, "[1,2]");
    EXPECT_EQ(arguments.type, "int");
}

TEST(CommandLine, WatchTakesTimes) {
    const Arguments arguments =
        parse({"watch", "u", "a", "--interval", "500ms", "--for", "2m", "--count", "3", "--retry", "0"})
            .arguments;

    EXPECT_EQ(arguments.interval, 500ms);
    EXPECT_EQ(arguments.duration, 2min);
    EXPECT_EQ(arguments.count, 3U);
    EXPECT_EQ(arguments.patience, 0ms);
}

TEST(CommandLine, WatchTakesAFormat) {
    EXPECT_EQ(parse({"watch", "u", "a"}).arguments.format, Format::TEXT);
    EXPECT_EQ(parse({"watch", "u", "a", "--json"}).arguments.format, Format::JSON);
    EXPECT_EQ(parse({"watch", "u", "a", "--format=csv"}).arguments.format, Format::CSV);
    const Arguments arguments =
        parse({"watch", "u", "a", "--format", "influx", "--measurement", "m", "--rediscover", "5m"})
            .arguments;
    EXPECT_EQ(arguments.format, Format::INFLUX);
    EXPECT_EQ(arguments.measurement, "m");
    EXPECT_EQ(arguments.rediscovery, 5min);
    EXPECT_NE(refuse({"watch", "u", "a", "--format", "csv", "--json"}), "(taken)");
    EXPECT_NE(refuse({"watch", "u", "a", "--format", "xml"}), "(taken)");
    EXPECT_NE(refuse({"watch", "u", "a", "--measurement", ""}), "(taken)");
}

TEST(CommandLine, RecordAndReplayNeedADatabase) {
    const Arguments record =
        parse({"record", "u", "a", "--database", "f", "--retain", "30d", "-r", "--quiet"}).arguments;
    EXPECT_EQ(record.command, Command::RECORD);
    EXPECT_EQ(record.database, "f");
    EXPECT_EQ(record.retention, 30 * 24h);
    EXPECT_TRUE(record.is_quiet);
    EXPECT_EQ(parse({"replay", "--database", "f"}).arguments.items, std::vector<ItemAddress>{});
    EXPECT_EQ(refuse({"record", "u", "a"}), "--database is required (see xmlda record --help)");
    EXPECT_EQ(refuse({"replay", "a"}), "--database is required (see xmlda replay --help)");
    EXPECT_EQ(refuse({"record", "u", "--database", "f"}), "PATH is required (see xmlda record --help)");
}

TEST(CommandLine, ReplayTakesASpan) {
    const Arguments span = parse({"replay", "--database", "f", "[a]", "b", "--from", "1970-01-01T00:00:01.5Z",
                                  "--to", "1970-01-01T01:00+01:00"})
                               .arguments;
    EXPECT_EQ(span.items, (std::vector<ItemAddress>{{"[a]", ""}, {"b", ""}}));
    EXPECT_EQ(span.from, 1'500'000'000);
    EXPECT_EQ(span.to, 0);
    EXPECT_EQ(parse({"replay", "--database", "f", "--last", "1h"}).arguments.last, 1h);
    EXPECT_EQ(refuse({"replay", "--database", "f", "--from", "soon"}),
              "'soon' is not a time (2026-11-21T10:11:12)");
    EXPECT_NE(refuse({"replay", "--database", "f", "--from", "2026-11-21", "--last", "1h"}), "(taken)");
}

TEST(CommandLine, UsersHaveAPassword) {
    const HttpSettings http = parse({"status", "u", "--user", "me:a:b"}).arguments.http;

    EXPECT_EQ(http.user, "me");
    EXPECT_EQ(http.password, "a:b");
}

TEST(CommandLine, HelpAndVersionAreTexts) {
    EXPECT_EQ(parse({"--version"}).text, "xmlda " XMLDA_VERSION "\n");
    EXPECT_TRUE(parse({"--help"}).text->starts_with("Browses, reads, writes"));
    EXPECT_NE(parse({"write", "--help"}).text->find("Usage: xmlda write [OPTIONS] [URL] PATH=VALUE..."),
              std::string::npos);
}

TEST(CommandLine, RefusesWhatItDoesNotKnow) {
    EXPECT_EQ(refuse({}),
              "a command is needed: status, browse, read, get, write, watch, record or replay (see xmlda "
              "--help)");
    EXPECT_EQ(refuse({"frobnicate"}), "unknown command 'frobnicate' (see xmlda --help)");
    EXPECT_EQ(refuse({"brows", "--frobnicate"}),
              "unknown command 'brows', did you mean 'browse'? (see xmlda --help)");
    EXPECT_EQ(refuse({"read", "--tiemout", "2"}),
              "unknown option '--tiemout', did you mean '--timeout'? (see xmlda read --help)");
    EXPECT_EQ(refuse({"write", "--timeout", "-1", "-x"}), "unknown option '-x' (see xmlda write --help)");
    EXPECT_EQ(refuse({"read", "u", "-r", "--jsn"}),
              "unknown option '--jsn', did you mean '--json'? (see xmlda read --help)");
    EXPECT_EQ(refuse({"--json", "read", "u", "a"}), "unknown option '--json' (see xmlda --help)");
    EXPECT_EQ(refuse({"read", "u"}), "PATH is required (see xmlda read --help)");
    EXPECT_EQ(refuse({"status"}),
              "URL is required, here or in the variable XMLDA_URL (see xmlda status --help)");
    EXPECT_EQ(refuse({"status", "u", "x"}), "unexpected argument 'x' (see xmlda status --help)");
    EXPECT_EQ(refuse({"browse", "u", "--names", "--json"}),
              "--names excludes --json (see xmlda browse --help)");
    EXPECT_EQ(refuse({"write", "u", "a"}), "'a' is not of the form PATH=VALUE");
    EXPECT_EQ(refuse({"watch", "u", "a", "--for", "soon"}),
              "'soon' is not a duration (10, 2.5, 500ms, 5m, 1h, 30d)");
}

TEST(CommandLine, HelpComesInSeveralWays) {
    EXPECT_EQ(parse({"help"}).text, parse({"--help"}).text);
    EXPECT_EQ(parse({"-h"}).text, parse({"--help"}).text);
    EXPECT_EQ(parse({"help", "read"}).text, parse({"read", "--help"}).text);
    EXPECT_EQ(parse({"read", "-h"}).text, parse({"read", "--help"}).text);
    EXPECT_EQ(parse({"-V"}).text, parse({"--version"}).text);
}

TEST(CommandLine, HelpFitsATerminal) {
    for (const char* const command : {"status", "browse", "read", "get", "write", "watch"}) {
        std::istringstream help(*parse({command, "--help"}).text);
        for (std::string line; std::getline(help, line);) {
            EXPECT_LE(line.size(), 80U) << line;
        }
    }
}

/// While it lives, the environment names a server.
class UrlVariable {
public:
    explicit UrlVariable(const char* url) { ::setenv("XMLDA_URL", url, 1); }
    UrlVariable(const UrlVariable&) = delete;
    UrlVariable& operator=(const UrlVariable&) = delete;
    ~UrlVariable() { ::unsetenv("XMLDA_URL"); }
};

TEST(CommandLine, UrlOfTheEnvironment) {
    const UrlVariable variable("http://h:1");

    EXPECT_EQ(parse({"status"}).arguments.url, "http://h:1");
    EXPECT_EQ(parse({"browse"}).arguments.url, "http://h:1");
    const Arguments read = parse({"read", "/a", "/b"}).arguments;
    EXPECT_EQ(read.url, "http://h:1");
    EXPECT_EQ(read.items, (std::vector<ItemAddress>{{"/a", ""}, {"/b", ""}}));
    const Arguments other = parse({"get", "https://i", "/a"}).arguments;
    EXPECT_EQ(other.url, "https://i");
    EXPECT_EQ(other.items, (std::vector<ItemAddress>{{"/a", ""}}));
    EXPECT_EQ(parse({"write", "[x]=1"}).arguments.assignments.at(0).address.name, "[x]");
    EXPECT_EQ(refuse({"get", "/a", "/b"}), "unexpected argument '/b' (see xmlda get --help)");
}

TEST(CommandLine, ItemsOfAFile) {
    const Poco::TemporaryFile file;
    std::ofstream(file.path()) << "/a b\n\n# a comment\nc\tDA\r\n";
    const std::string path = file.path();

    EXPECT_EQ(parse({"read", "u", "/x", "--items", path.c_str(), "--item-path", "p"}).arguments.items,
              (std::vector<ItemAddress>{{"/x", "p"}, {"/a b", ""}, {"c", "DA"}}));
    EXPECT_EQ(refuse({"read", "u", "--items", "/nowhere"}), "cannot read '/nowhere'");
}

TEST(ParseDuration, TakesUnits) {
    EXPECT_EQ(parse_duration("10"), 10s);
    EXPECT_EQ(parse_duration("0.25s"), 250ms);
    EXPECT_EQ(parse_duration("1h"), 1h);
    EXPECT_EQ(parse_duration("30d"), 720h);
    EXPECT_EQ(parse_duration("0"), 0ms);
}

TEST(ParseDuration, RefusesAnythingElse) {
    for (const char* const text : {"", "s", "-1", "1y", "nan", "inf", "9999999h", "1 s"}) {
        EXPECT_EQ(get_refusal([text] { parse_duration(text); }),
                  "'" + std::string(text) + "' is not a duration (10, 2.5, 500ms, 5m, 1h, 30d)");
    }
}

TEST(ParseAssignment, TakesEscapedEqualSigns) {
    const Assignment assignment = parse_assignment(R"(ns\=2;s\=\x=a\=b)");

    EXPECT_EQ(assignment.address.name, R"(ns=2;s=\x)");
    EXPECT_EQ(assignment.text, R"(a\=b)");
}

TEST(ParseEndpoint, TakesUrls) {
    const Endpoint secure = parse_endpoint("https://h/p?q");
    EXPECT_TRUE(secure.is_secure);
    EXPECT_EQ(secure.get_url(), "https://h:443/p?q");

    const Endpoint bare = parse_endpoint("localhost:8080");
    EXPECT_FALSE(bare.is_secure);
    EXPECT_EQ(bare.get_url(), "http://localhost:8080/");

    const Endpoint ipv6 = parse_endpoint("http://[::1]:81/x");
    EXPECT_EQ(ipv6.host, "::1");
    EXPECT_EQ(ipv6.get_url(), "http://[::1]:81/x");
}

TEST(ParseEndpoint, RefusesOthers) {
    const auto get_message = [](const char* url) { return get_refusal([url] { parse_endpoint(url); }); };

    EXPECT_EQ(get_message("ftp://h"), "'ftp://h' begins with neither http:// nor https://");
    EXPECT_EQ(get_message(""), "the URL is empty");
    EXPECT_EQ(get_message("http://:8080"),
              "'http://:8080' is not the URL of a server: host or port is missing");
    EXPECT_EQ(get_message("http://u:p@h"), "'http://u:p@h' contains a user name: use --user");
    EXPECT_EQ(get_message("http://h:99999"), "'http://h:99999' is not a URL");
}

/// What may be put in place of the last of these words.
std::vector<std::string> complete(const std::vector<std::string>& words) {
    return complete_command_line(words).words;
}

TEST(Completions, KnowCommandsAndOptions) {
    EXPECT_EQ(complete({"wa"}), std::vector<std::string>{"watch\tShow the changes of items until Ctrl-C"});
    EXPECT_EQ(complete({"--json", "stat"}).size(), 1U);
    EXPECT_EQ(complete({"read", "--js"}), std::vector<std::string>{"--json\tPrint JSON, for scripts"});
    EXPECT_EQ(complete({"--vers"}), std::vector<std::string>{"--version\tShow the version"});
    EXPECT_EQ(complete({"nonsense", "--"}), std::vector<std::string>{});
    EXPECT_EQ(complete({}).size(), 8U);
}

TEST(Completions, KnowTheValuesOfOptions) {
    EXPECT_EQ(complete({"read", "--color", "a"}), (std::vector<std::string>{"auto", "always"}));
    EXPECT_EQ(complete({"write", "--type", "ArrayOfB"}),
              (std::vector<std::string>{"ArrayOfBoolean", "ArrayOfByte"}));
    EXPECT_EQ(complete({"watch", "--format", ""}),
              (std::vector<std::string>{"text", "json", "csv", "influx"}));
    EXPECT_EQ(complete({"read", "--timeout", ""}), std::vector<std::string>{});
    EXPECT_EQ(complete_command_line({"read", "--ca", ""}).kind, Completion::Kind::FILES);
}

TEST(Completions, AskForAUrlThenForItems) {
    EXPECT_EQ(complete({"read", "--color", "never", "http"}),
              (std::vector<std::string>{"http://", "https://"}));
    const Completion completion =
        complete_command_line({"write", "--item-path", "p", "http://plant", "a=1", "--timeout", "1", "b"});
    EXPECT_EQ(completion.kind, Completion::Kind::ITEMS);
    EXPECT_EQ(completion.arguments.url, "http://plant");
    EXPECT_EQ(completion.arguments.http.time_out, 1s);
    EXPECT_EQ(completion.arguments.assignments.at(0).address.path, "p");
    EXPECT_EQ(complete_command_line({"read", "-r", "http://plant", ""}).kind, Completion::Kind::ITEMS);
}

TEST(Completions, EndWhereNoItemMayStand) {
    for (const std::vector<std::string>& words :
         std::vector<std::vector<std::string>>{{"status", "http://plant", ""},
                                               {"replay", "--database", "f", ""},
                                               {"get", "http://plant", "a", ""},
                                               {"read", "--help", "u", ""}}) {
        const Completion completion = complete_command_line(words);
        EXPECT_EQ(completion.kind, Completion::Kind::WORDS);
        EXPECT_EQ(completion.words, std::vector<std::string>{});
    }
}

}  // namespace
}  // namespace xmlda::testing
