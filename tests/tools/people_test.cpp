#include "ForeignServer.h"
#include "Host.h"
#include "xmlda_program.h"

#include <information_model/InformationModel.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <sstream>
#include <string>
#include <vector>

namespace xmlda::testing {
namespace {

using namespace kx::information_model;
using symbol_list::QUALITY;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

/// What makes the program comfortable, against a server of ours.
class People : public ::testing::Test {
protected:
    /// Runs on a terminal of 100 columns.
    Outcome see(std::vector<std::string> arguments, std::map<std::string, std::string> variables = {}) const {
        arguments.insert(arguments.begin() + 1, host.get_url());
        variables.emplace("TZ", "UTC-2");
        return ChildProcess(get_xmlda_command(arguments), ChildProcess::Place::TERMINAL, variables).wait();
    }

    Outcome run(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin() + 1, host.get_url());
        return run_xmlda(arguments);
    }

    Host host;
};

TEST_F(People, ReadUnitsSymbolsAndLocalTimes) {
    EXPECT_EQ(see({"read", "/boiler/temperature", "/boiler/kind"}).output,
              "/boiler/temperature  21.5 degC             " + LOCAL_TIME +
                  "\r\n"
                  "/boiler/kind         1 (historyAvailable)  " +
                  LOCAL_TIME + "\r\n");
}

TEST_F(People, ReadWithUtcShowsTimesInFull) {
    EXPECT_EQ(see({"read", "--utc", "/boiler/burner"}).output, "/boiler/burner  true  " + HOST_TIME + "\r\n");
}

TEST_F(People, ReadShowsQualitiesThatAreNotGood) {
    host.set_quality("boiler/temperature", QUALITY::BAD_SENSOR_FAILURE);
    host.set_quality("boiler/burner", QUALITY::UNCERTAIN);
    const Outcome outcome = see({"read", "/boiler/temperature", "/boiler/burner"});

    EXPECT_EQ(outcome.output, "/boiler/temperature  \x1b[31m21.5 degC\x1b[0m  " + LOCAL_TIME +
                                  "  \x1b[31mbadSensorFailure\x1b[0m\r\n"
                                  "/boiler/burner       \x1b[33mtrue\x1b[0m       " +
                                  LOCAL_TIME + "  \x1b[33muncertain\x1b[0m\r\n");
}

TEST_F(People, ColorsCanBeSwitchedOffAndOn) {
    host.set_quality("boiler/burner", QUALITY::BAD);
    const std::string plain = "/boiler/burner  true  " + LOCAL_TIME + "  bad\r\n";

    EXPECT_EQ(see({"read", "/boiler/burner"}, {{"NO_COLOR", "1"}}).output, plain);
    EXPECT_EQ(see({"read", "--color=never", "/boiler/burner"}).output, plain);
    EXPECT_EQ(see({"read", "/boiler/burner"}, {{"TERM", "dumb"}}).output, plain);
    EXPECT_THAT(see({"read", "--color", "always", "/boiler/burner"}, {{"NO_COLOR", "1"}}).output,
                HasSubstr("\x1b[31mbad\x1b[0m"));
    EXPECT_EQ(run({"read", "/boiler/burner"}).output,
              "/boiler/burner  true  boolean  " + HOST_TIME + "  bad\n");
}

TEST_F(People, QualitiesCostARequestThatCanBeSaved) {
    host.set_quality("boiler/burner", QUALITY::BAD);
    const Outcome outcome = run({"read", "--no-quality", "--show-xml", "/boiler/burner"});

    EXPECT_EQ(outcome.output, "/boiler/burner  true  boolean  " + HOST_TIME + "\n");
    EXPECT_THAT(outcome.errors, Not(HasSubstr("GetProperties")));
}

TEST_F(People, JsonHasUnitSymbolAndQuality) {
    host.set_quality("boiler/kind", QUALITY::UNCERTAIN);
    const Outcome outcome = run({"read", "--json", "/boiler/temperature", "/boiler/kind"});

    EXPECT_THAT(outcome.output, HasSubstr(R"("value": 21.500000,
    "type": "double",
    "unit": "degC",
    "timestamp": ")" + HOST_TIME + R"(",
    "quality": "good")"));
    EXPECT_THAT(outcome.output, HasSubstr(R"("symbol": "historyAvailable",)"));
    EXPECT_THAT(outcome.output, HasSubstr(R"("quality": "uncertain")"));
}

TEST_F(People, NothingThatIsReadWraps) {
    host.set("texts/note", Value(std::string(300, 'x')));
    host.set_quality("texts/note", QUALITY::BAD_CONFIGURATION_ERROR);
    std::istringstream output(see({"read", "/texts/note", "/boiler/temperature", "--color=never"}).output);

    for (std::string line; std::getline(output, line);) {
        EXPECT_LE(line.size(), 101U) << line;  // with the carriage return
        EXPECT_THAT(line, ::testing::AnyOf(HasSubstr("x...  2026-01-02"), HasSubstr("21.5 degC")));
    }
}

TEST_F(People, BrowseDrawsValues) {
    host.set_quality("boiler/temperature", QUALITY::BAD_SENSOR_FAILURE);
    const Outcome outcome = see({"browse", "-r", "--values"});

    EXPECT_THAT(
        outcome.output,
        StartsWith(host.get_url() + "/\r\n"
                                    "├── boiler/\r\n"
                                    "│   ├── temperature  \x1b[31m21.5 degC  badSensorFailure\x1b[0m\r\n"
                                    "│   ├── setpoint     180.000000\r\n"
                                    "│   ├── zones        [1.500000, 2.500000]\r\n"
                                    "│   ├── kind         1 (historyAvailable)\r\n"));
}

TEST_F(People, BrowseTakesOneRequestForEachBranch) {
    const std::string errors = run({"browse", "-r", "--values", "--show-xml"}).errors;
    std::size_t requests = 0;
    for (std::size_t at = errors.find("--- request"); at != std::string::npos;
         at = errors.find("--- request", at + 1)) {
        ++requests;
    }

    EXPECT_EQ(requests, 3U);
}

TEST_F(People, BrowseValuesAsJson) {
    EXPECT_THAT(run({"browse", "--values", "--json", "/boiler"}).output, HasSubstr(R"("value": 21.500000,
    "type": "double",
    "unit": "degC",
    "timestamp": ")" + HOST_TIME));
}

TEST_F(People, BranchesAreReadWithAllBelow) {
    EXPECT_EQ(run({"read", "-r", "--values", "/texts", "/boiler/burner"}).output,
              "\"two\\nlines\"\n[\"a, b\", \"\", c]\nPT1M30S\ntrue\n");
}

TEST_F(People, BranchesBelowABranchAreNotItems) {
    const Outcome read = run({"read", "-r", "/"});
    EXPECT_THAT(read.output, HasSubstr("/boiler/kind "));
    EXPECT_THAT(read.output, HasSubstr("/texts/pause "));
    EXPECT_EQ(read.errors, "");
    EXPECT_EQ(read.status, 0);

    const Outcome watch = run({"watch", "--for", "0", "**"});
    EXPECT_THAT(watch.output, HasSubstr("  /texts/pause "));
    EXPECT_EQ(watch.errors, "");
}

TEST_F(People, PatternsAreRead) {
    EXPECT_EQ(run({"read", "--values", "/texts/p*", "*/b?rner"}).output, "PT1M30S\ntrue\n");
    expect_failure(run({"read", "/texts/x*"}), 11, "xmlda: '/texts/x*': no item matches\n");
}

TEST_F(People, BranchesAreExplained) {
    expect_failure(run({"read", "/boiler"}), 11,
                   "xmlda: /boiler: is a branch: -r takes all items below it, '/boiler/*' those in it\n");
    expect_failure(run({"watch", "--for", "1", "/boiler"}), 11,
                   "xmlda: /boiler: is a branch: -r takes all items below it, '/boiler/*' those in it\n");
}

TEST_F(People, WatchDrawsNoTableOfNothing) {
    EXPECT_EQ(see({"watch", "/nope"}).output,
              "\r\x1b[Jxmlda: /nope: missing from the reply: the server does not know it\r\n");
}

TEST_F(People, ItemsOfStandardInputAreRead) {
    const std::string script = "\"$0\" browse \"$1\" --names /texts | \"$0\" read \"$1\" --values --items -";
    const Outcome outcome =
        ChildProcess({"/bin/sh", "-c", script, XMLDA_PROGRAM, host.get_url()}, ChildProcess::Place::PIPES)
            .wait();

    EXPECT_EQ(outcome.output, "\"two\\nlines\"\n[\"a, b\", \"\", c]\nPT1M30S\n");
}

TEST_F(People, BranchesAndPatternsAreWatched) {
    const Outcome outcome = run({"watch", "--count", "4", "-r", "/texts", "/boiler/burn*"});

    EXPECT_THAT(outcome.output, HasSubstr("/texts/pause    PT1M30S"));
    EXPECT_THAT(outcome.output, HasSubstr("/boiler/burner  true"));
    EXPECT_EQ(outcome.status, 0);
}

TEST_F(People, WatchTellsOfQualities) {
    ChildProcess watch(
        get_xmlda_command({"watch", host.get_url(), "--interval", "20ms", "/boiler/temperature"}),
        ChildProcess::Place::PIPES);
    watch.wait_for_output("21.500000");
    host.set_quality("boiler/temperature", QUALITY::BAD_SENSOR_FAILURE);
    watch.wait_for_output("21.500000  badSensorFailure\n");
    host.set_quality("boiler/temperature", QUALITY::GOOD);
    watch.wait_for_output("badSensorFailure\n" + HOST_TIME);
    watch.send_signal(SIGINT);

    EXPECT_EQ(watch.wait().status, 0);
}

TEST_F(People, GetPrintsTheBareValue) {
    EXPECT_EQ(run({"get", "/boiler/temperature"}).output, "21.500000\n");
    EXPECT_EQ(run({"get", "/boiler/burner"}).output, "true\n");
    EXPECT_EQ(run({"get", "/texts/note"}).output, "two\nlines\n");
    EXPECT_EQ(see({"get", "/texts/note"}).output, "two\\nlines\r\n");
    EXPECT_EQ(run({"get", "/boiler/zones"}).output, "[1.500000, 2.500000]\n");
    expect_failure(run({"get", "/boiler"}), 11, "xmlda: /boiler: is a branch, which has no value\n");
    expect_failure(run({"get", "/nope"}), 11,
                   "xmlda: /nope: missing from the reply: the server does not know it\n");
}

TEST_F(People, GetTellsOfABadQuality) {
    host.set_quality("boiler/burner", QUALITY::BAD);
    const Outcome outcome = run({"get", "/boiler/burner"});

    EXPECT_EQ(outcome.output, "true\n");
    EXPECT_EQ(outcome.errors, "xmlda: /boiler/burner: the quality is bad\n");
    EXPECT_EQ(outcome.status, 14);
    EXPECT_EQ(run({"get", "--no-quality", "/boiler/burner"}).status, 0);
}

TEST_F(People, WriteKeepsToTheLimits) {
    expect_failure(run({"write", "/boiler/setpoint=500"}), 2,
                   "xmlda: /boiler/setpoint: 500 is above the limit of 400.000000 (--force writes it "
                   "anyway)\nxmlda: nothing was written\n");
    expect_failure(run({"write", "/boiler/setpoint=-1"}), 2,
                   "xmlda: /boiler/setpoint: -1 is below the limit of 0.000000 (--force writes it "
                   "anyway)\nxmlda: nothing was written\n");
    EXPECT_EQ(host.get("boiler/setpoint"), Value(180.0));

    const Outcome forced = run({"write", "--force", "/boiler/setpoint=500"});
    EXPECT_EQ(forced.errors, "xmlda: /boiler/setpoint: 500 is above the limit of 400.000000\n");
    EXPECT_EQ(forced.status, 0);
    EXPECT_EQ(host.get("boiler/setpoint"), Value(500.0));
}

TEST_F(People, WriteKnowsTheSymbols) {
    expect_failure(
        run({"write", "/boiler/kind=7"}), 2,
        "xmlda: /boiler/kind: 7 is not one of 0 (none), 1 (historyAvailable), 2 (historySuggested) "
        "(--force writes it anyway)\nxmlda: nothing was written\n");
    EXPECT_THAT(see({"write", "/boiler/kind=historySuggested"}).output,
                StartsWith("/boiler/kind  2 (historySuggested)  "));
}

TEST_F(People, WriteCanBeTriedWithoutAnEffect) {
    const Outcome outcome = run({"write", "--dry-run", "/boiler/setpoint=1", "/boiler/bytes=1, 200"});

    EXPECT_EQ(outcome.output,
              "/boiler/setpoint  1         double\n/boiler/bytes     [1, -56]  ArrayOfByte\n");
    EXPECT_EQ(outcome.errors, "xmlda: nothing was written (--dry-run)\n");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(host.get("boiler/setpoint"), Value(180.0));
}

TEST_F(People, TheUrlMayBeInTheEnvironment) {
    const Outcome outcome = run_xmlda({"get", "/boiler/burner"}, {{"XMLDA_URL", host.get_url()}});

    EXPECT_EQ(outcome.output, "true\n");
}

/// Browses what has nothing below it.
TEST_F(People, BrowseShowsThePropertiesOfALeaf) {
    const std::string output = run({"browse", "-p", "/boiler/temperature"}).output;

    EXPECT_THAT(output, HasSubstr("  engineeringUnits         degC\n"));
    EXPECT_THAT(run({"browse", "-p", "--json", "/boiler/temperature"}).output,
                HasSubstr(R"("name": "engineeringUnits")"));
}

/// A table that is drawn over stays one, whatever happens beside it.
TEST(Restarts, LeaveOneTableAndTellThingsInTheirOrder) {
    const ForeignServer server(
        {{"Subscribe",
          always("<da:SubscribeResponse ServerSubHandle='s'><da:RItemList><da:Items><da:ItemValue "
                 "ClientItemHandle='1'><da:Value i:type='x:int'>7</da:Value></da:ItemValue>"
                 "</da:Items></da:RItemList></da:SubscribeResponse>")},
         {"SubscriptionPolledRefresh", [](const std::string& /*request*/, int earlier) -> std::string {
              if (earlier == 0) {
                  return "HTTP/1.1 502 Bad Gateway\r\nContent-Length: 0\r\n\r\n";
              }
              return earlier == 1
                         ? to_soap_reply("<E:Fault><faultcode>da:E_NOSUBSCRIPTION</faultcode></E:Fault>",
                                         "500 Internal Server Error")
                         : "<da:SubscriptionPolledRefreshResponse/>";
          }}});
    ChildProcess watch(get_xmlda_command({"watch", server.get_url(), "--interval", "50ms", "a"}),
                       ChildProcess::Place::TERMINAL);
    watch.wait_for_output("subscribing again");
    watch.wait_for_output("subscribing again\r\n\r\x1b[J\x1b[4mItem");
    watch.send_signal(SIGINT);
    const std::string output = watch.wait().output;

    const std::size_t lost = output.find("\r\x1b[Jxmlda: the server answered 502 Bad Gateway: trying again");
    const std::size_t back = output.find("\r\x1b[Jxmlda: the connection is back");
    const std::size_t again = output.find("\r\x1b[Jxmlda: the server has lost the subscription");
    EXPECT_LT(lost, back);
    EXPECT_LT(back, again);
    EXPECT_NE(again, std::string::npos);
}

TEST(States, OtherThanRunningAreReported) {
    const ForeignServer server(
        {{"GetStatus", always("<da:GetStatusResponse><da:GetStatusResult ServerState='suspended'/>"
                              "</da:GetStatusResponse>")},
         {"Read",
          always("<da:ReadResponse><da:ReadResult ServerState='commFault'/><da:RItemList><da:Items "
                 "ClientItemHandle='1'><da:Value i:type='x:int'>7</da:Value></da:Items></da:RItemList>"
                 "</da:ReadResponse>")}});
    const Outcome status = run_xmlda({"status", server.get_url()});
    EXPECT_EQ(status.output, "State  suspended\n");
    EXPECT_EQ(status.errors, "xmlda: the server's state is 'suspended'\n");
    EXPECT_EQ(status.status, 15);

    const Outcome read = run_xmlda({"read", server.get_url(), "a"});
    EXPECT_EQ(read.output, "a  7  int\n");
    EXPECT_EQ(read.errors, "xmlda: the server's state is 'commFault'\n");
    EXPECT_EQ(read.status, 0);
}

TEST(ItemPaths, ArePartOfNames) {
    const ForeignServer server(
        {{"Browse", always("<da:BrowseResponse><da:Elements Name='a' ItemName='a' ItemPath='DA' IsItem='1' "
                           "HasChildren='0'/></da:BrowseResponse>")}});

    EXPECT_EQ(run_xmlda({"browse", server.get_url(), "--names"}).output, "a\tDA\n");
}

TEST(Leaves, OfOtherServersShowTheirProperties) {
    const ForeignServer server(
        {{"Browse", always("<E:Fault><faultcode>da:E_INVALIDITEMNAME</faultcode></E:Fault>")},
         {"GetProperties",
          always("<da:GetPropertiesResponse><da:PropertyLists ItemName='a'><da:Properties Name='da:quality'>"
                 "<da:Value i:type='da:OPCQuality' QualityField='uncertain'/></da:Properties>"
                 "</da:PropertyLists></da:GetPropertiesResponse>")}});

    EXPECT_EQ(run_xmlda({"browse", server.get_url(), "-p", "a"}).output, "a\n  quality  uncertain\n");
}

}  // namespace
}  // namespace xmlda::testing
