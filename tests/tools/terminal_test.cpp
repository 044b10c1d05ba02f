#include "ForeignServer.h"
#include "Host.h"
#include "xmlda_program.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <map>
#include <string>

namespace xmlda::testing {
namespace {

using kx::information_model::Value;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr ChildProcess::Place TERMINAL = ChildProcess::Place::TERMINAL;

/// A zone two hours to the east.
const std::map<std::string, std::string> ZONE = {{"TZ", "UTC-2"}};

/// What the program shows on a terminal of 100 columns and 12 rows.
TEST(Terminal, WatchDrawsATableOverItself) {
    Host host;
    ChildProcess watch(get_xmlda_command({"watch", host.get_url(), "--interval", "20ms",
                                          "/boiler/temperature", "/texts/note"}),
                       TERMINAL, ZONE);
    watch.wait_for_output("Ctrl-C ends");
    host.set("boiler/temperature", Value(22.5));
    watch.wait_for_output("22.5 degC");
    watch.wait_for_output("3 changes");
    watch.send_signal(SIGINT);
    const Outcome outcome = watch.wait();

    EXPECT_THAT(outcome.output, HasSubstr("\r\x1b[J\x1b[4mItem                 Value         Time\x1b[0m\r\n"
                                          "\x1b[1;36m/boiler/temperature  21.5 degC     " +
                                          LOCAL_TIME +
                                          "\x1b[0m\r\n"
                                          "\x1b[1;36m/texts/note          \"two\\nlines\"  " +
                                          LOCAL_TIME +
                                          "\x1b[0m\r\n"
                                          "2 changes, polled at "));
    EXPECT_THAT(outcome.output,
                HasSubstr("\x1b[4A\r\x1b[J\x1b[4mItem                 Value         Time\x1b[0m\r\n"
                          "\x1b[1;36m/boiler/temperature  22.5 degC     " +
                          LOCAL_TIME +
                          "\x1b[0m\r\n"
                          "/texts/note          \"two\\nlines\"  " +
                          LOCAL_TIME +
                          "\r\n"
                          "3 changes, polled at "));
    EXPECT_EQ(outcome.status, 0);
}

TEST(Terminal, WatchDrawsBoldWithoutColors) {
    const Host host;
    const Outcome outcome =
        ChildProcess(
            get_xmlda_command({"watch", host.get_url(), "--count", "1", "--color=never", "/boiler/burner"}),
            TERMINAL, ZONE)
            .wait();

    EXPECT_THAT(outcome.output, HasSubstr("\x1b[1m/boiler/burner  true   " + LOCAL_TIME + "\x1b[0m\r\n"));
}

TEST(Terminal, WatchCutsWhatDoesNotFit) {
    Host host;
    host.set("texts/note", Value(std::string(200, 'x')));
    std::vector<std::string> arguments = {"watch", host.get_url(), "--for", "0"};
    arguments.insert(arguments.end(), 20, "/texts/note");
    const Outcome outcome = ChildProcess(get_xmlda_command(arguments), TERMINAL, ZONE).wait();

    EXPECT_THAT(outcome.output, HasSubstr("/texts/note  " + std::string(58, 'x') + "...  " + LOCAL_TIME));
    EXPECT_THAT(outcome.output, HasSubstr("\r\nand 12 more that do not fit\r\n20 changes, polled at "));
}

TEST(Terminal, WatchPrintsLinesOnADumbOne) {
    const Host host;
    const Outcome outcome =
        ChildProcess(get_xmlda_command({"watch", host.get_url(), "--count", "1", "/boiler/burner"}), TERMINAL,
                     {{"TERM", "dumb"}})
            .wait();

    EXPECT_EQ(outcome.output, HOST_TIME + "  /boiler/burner  true\r\n");
}

TEST(Terminal, WatchPrintsJsonIfTold) {
    const Host host;
    const Outcome outcome =
        ChildProcess(get_xmlda_command({"watch", host.get_url(), "--count", "1", "--json", "/boiler/burner"}),
                     TERMINAL)
            .wait();

    EXPECT_THAT(outcome.output, Not(HasSubstr("\x1b")));
}

TEST(Terminal, NothingOfAServerIsObeyed) {
    const std::string evil = "&#x9b;2J&#x202e;&#13;";
    const ForeignServer server(
        {{"Read", always("<da:ReadResponse><da:RItemList><da:Items ClientItemHandle='1' Timestamp='" + evil +
                         "'><da:Value i:type='x:string'>" + evil + "</da:Value><da:Quality QualityField='" +
                         evil + "'/></da:Items></da:RItemList></da:ReadResponse>")},
         {"Browse", always("<da:BrowseResponse><da:Elements Name='" + evil + "' ItemName='" + evil +
                           "' ItemPath='" + evil + "'><da:Properties Name='" + evil + "'><da:Value>" + evil +
                           "</da:Value></da:Properties></da:Elements></da:BrowseResponse>")}});
    for (const std::vector<std::string>& arguments :
         std::vector<std::vector<std::string>>{{"read", server.get_url(), "a"},
                                               {"read", server.get_url(), "a", "--json"},
                                               {"read", server.get_url(), "a", "--show-xml"},
                                               {"browse", server.get_url(), "-p"},
                                               {"browse", server.get_url(), "-p", "--json"},
                                               {"browse", server.get_url(), "--names"}}) {
        const Outcome outcome = ChildProcess(get_xmlda_command(arguments), TERMINAL).wait();
        EXPECT_EQ(outcome.status, 0);
        EXPECT_THAT(outcome.output, Not(HasSubstr("\xC2\x9B")));
        EXPECT_THAT(outcome.output, Not(HasSubstr("\xE2\x80\xAE")));
        EXPECT_THAT(outcome.output, Not(HasSubstr("2J\r")));
        EXPECT_THAT(outcome.output, HasSubstr("9b"));
    }
}

TEST(Terminal, LongBrowsesShowTheirProgress) {
    // One branch inside another, without end: it goes on until the depth is too much, in half a second and
    // more.
    const ForeignServer server({{"Browse", [](const std::string& /*request*/, int earlier) {
                                     const timespec pause = {.tv_sec = 0, .tv_nsec = 10'000'000};
                                     ::nanosleep(&pause, nullptr);  // a slow server
                                     return "<da:BrowseResponse><da:Elements Name='b' ItemName='" +
                                            std::to_string(earlier) +
                                            "' HasChildren='1'/></da:BrowseResponse>";
                                 }}});
    const Outcome outcome =
        ChildProcess(get_xmlda_command({"browse", server.get_url(), "-r"}), TERMINAL).wait();

    EXPECT_THAT(outcome.output, HasSubstr("\r\x1b[Kbrowsed "));
    EXPECT_THAT(outcome.output, HasSubstr("b/ (too deep)"));
    EXPECT_EQ(outcome.status, 0);
}

}  // namespace
}  // namespace xmlda::testing
