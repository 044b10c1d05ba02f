#include "ForeignServer.h"
#include "Host.h"
#include "xmlda_program.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <string>

namespace xmlda::testing {
namespace {

using kx::information_model::Value;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

std::vector<std::string> get_command(const std::string& url, std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"watch", url, "--interval", "20ms"});
    return get_xmlda_command(arguments);
}

TEST(Watch, PrintsALineForEachChangeUntilInterrupted) {
    Host host;
    ChildProcess watch(get_command(host.get_url(), {"/boiler/temperature", "/texts/note"}));
    watch.wait_for_output("note");
    host.set("boiler/temperature", Value(22.5));
    watch.wait_for_output("22.5");
    host.set("texts/note", Value("x"));
    watch.wait_for_output("note          x");
    watch.send_signal(SIGINT);
    const Outcome outcome = watch.wait();

    EXPECT_EQ(outcome.output, HOST_TIME + "  /boiler/temperature  21.500000\n" + HOST_TIME +
                                  "  /texts/note          \"two\\nlines\"\n" + HOST_TIME +
                                  "  /boiler/temperature  22.500000\n" + HOST_TIME +
                                  "  /texts/note          x\n");
    EXPECT_EQ(outcome.errors, "");
    EXPECT_EQ(outcome.status, 0);
}

TEST(Watch, PrintsJsonLines) {
    const Host host;
    const Outcome outcome = ChildProcess(get_command(host.get_url(), {"--json", "--count", "2",
                                                                      "/boiler/zones", "/boiler/burner"}))
                                .wait();

    EXPECT_EQ(outcome.output, R"({"item":"/boiler/zones","value":[1.500000,2.500000],"type":"ArrayOfDouble",)"
                              R"("timestamp":")" +
                                  HOST_TIME +
                                  "\",\"quality\":\"good\"}\n"
                                  R"({"item":"/boiler/burner","value":true,"type":"boolean",)"
                                  R"("timestamp":")" +
                                  HOST_TIME + "\",\"quality\":\"good\"}\n");
    EXPECT_EQ(outcome.errors, "");
    EXPECT_EQ(outcome.status, 0);
}

TEST(Watch, PrintsCsvAndInflux) {
    const Host host;
    const Outcome csv = ChildProcess(get_command(host.get_url(), {"--format", "csv", "--count", "2",
                                                                  "/texts/note", "/boiler/temperature"}))
                            .wait();
    const Outcome influx =
        ChildProcess(get_command(host.get_url(), {"--format", "influx", "--measurement", "p", "--count", "3",
                                                  "/boiler/kind", "/boiler/temperature", "/boiler/zones"}))
            .wait();

    EXPECT_EQ(csv.output,
              "item,time,value,type,unit,quality,result\r\n"
              "/texts/note," +
                  HOST_TIME + ",\"two\nlines\",string,,good,\r\n/boiler/temperature," + HOST_TIME +
                  ",21.500000,double,degC,good,\r\n");
    EXPECT_EQ(influx.output,
              "p,item=/boiler/kind value_integer=1i,symbol=\"historyAvailable\",quality=\"good\" "
              "1767323045000000000\n"
              "p,item=/boiler/temperature,unit=degC value=21.500000,quality=\"good\" 1767323045000000000\n"
              "p,index=0,item=/boiler/zones value=1.500000,quality=\"good\" 1767323045000000000\n"
              "p,index=1,item=/boiler/zones value=2.500000,quality=\"good\" 1767323045000000000\n");
    EXPECT_EQ(csv.errors + influx.errors, "");
}

TEST(Watch, FindsWhatIsAddedLaterAndForgetsWhatIsGone) {
    Host host;
    ChildProcess watch(get_command(
        host.get_url(), {"--format", "csv", "--rediscover", "50ms", "/texts/n*", "/texts/nobody", "-r"}));
    watch.wait_for_output("/texts/note");
    host.add("news", Value(7));
    watch.wait_for_output("/texts/news");
    host.remove("note");
    watch.wait_for_errors("items: 0 new, 1 gone, 2 in all");
    host.set("texts/news", Value(8));
    watch.wait_for_output("/texts/news," + HOST_TIME + ",8,");
    host.remove("news");
    watch.wait_for_errors("items: 0 new, 1 gone, 1 in all");
    host.add("note", Value("back"));
    watch.wait_for_output("back");
    watch.send_signal(SIGINT);
    const Outcome outcome = watch.wait();

    EXPECT_EQ(outcome.output,
              "item,time,value,type,unit,quality,result\r\n"
              "/texts/note," +
                  HOST_TIME + ",\"two\nlines\",string,,good,\r\n/texts/news," + HOST_TIME +
                  ",7,int,,good,\r\n/texts/news," + HOST_TIME + ",8,int,,good,\r\n/texts/note," + HOST_TIME +
                  ",back,string,,good,\r\n");
    EXPECT_THAT(outcome.errors, HasSubstr("xmlda: items: 1 new, 0 gone, 3 in all\n"));
}

TEST(Watch, LooksForItemsOnceIfToldSo) {
    Host host;
    ChildProcess watch(get_command(host.get_url(), {"--rediscover", "0", "/texts/n*", "--count", "2"}));
    watch.wait_for_output("/texts/note");
    host.add("news", Value(7));
    host.set("texts/note", Value("x"));

    EXPECT_EQ(watch.wait().output,
              HOST_TIME + "  /texts/note  \"two\\nlines\"\n" + HOST_TIME + "  /texts/note  x\n");
}

TEST(Watch, EndsAfterSomeChangesOrSomeTime) {
    const Host host;
    const Outcome counted =
        ChildProcess(get_command(host.get_url(), {"--count", "1", "/boiler/zones", "/boiler/burner"})).wait();
    const Outcome timed =
        ChildProcess(get_command(host.get_url(), {"--for", "50ms", "/boiler/burner"})).wait();

    EXPECT_EQ(counted.output, HOST_TIME + "  /boiler/zones   [1.500000, 2.500000]\n");
    EXPECT_EQ(counted.status, 0);
    EXPECT_EQ(timed.output, HOST_TIME + "  /boiler/burner  true\n");
    EXPECT_EQ(timed.status, 0);
}

TEST(Watch, ReportsWhatTheServerDoesNotKnow) {
    const Host host;
    const Outcome some =
        ChildProcess(get_command(host.get_url(), {"--count", "1", "/nope", "/boiler/burner"})).wait();
    const Outcome none = ChildProcess(get_command(host.get_url(), {"/nope"})).wait();

    EXPECT_EQ(some.output, HOST_TIME + "  /boiler/burner  true\n");
    EXPECT_EQ(some.errors, "xmlda: /nope: missing from the reply: the server does not know it\n");
    EXPECT_EQ(some.status, 11);
    EXPECT_EQ(none.output, "");
    EXPECT_EQ(none.errors, "xmlda: /nope: missing from the reply: the server does not know it\n");
    EXPECT_EQ(none.status, 11);
}

/// A response to Subscribe.
std::string create_subscribed(const std::string& handle, const std::string& text) {
    return "<da:SubscribeResponse ServerSubHandle='" + handle +
           "'><da:SubscribeResult/><da:RItemList><da:Items><da:ItemValue ClientItemHandle='1'>"
           "<da:Value i:type='x:string'>" +
           text + "</da:Value></da:ItemValue></da:Items></da:RItemList></da:SubscribeResponse>";
}

/// A response to SubscriptionPolledRefresh with one item for each text.
std::string create_refreshed(const std::vector<std::string>& texts, const std::string& attributes = "") {
    std::string items;
    for (const std::string& text : texts) {
        items +=
            "<da:Items ClientItemHandle='1'><da:Value i:type='x:string'>" + text + "</da:Value></da:Items>";
    }
    return "<da:SubscriptionPolledRefreshResponse " + attributes +
           "><da:SubscriptionPolledRefreshResult/><da:RItemList>" + items +
           "</da:RItemList></da:SubscriptionPolledRefreshResponse>";
}

const ForeignServer::Service CANCEL = always("<da:SubscriptionCancelResponse/>");

ForeignServer::Service subscribe_with_numbers() {
    return [](const std::string& /*request*/, int earlier) {
        return create_subscribed("h" + std::to_string(earlier), "s" + std::to_string(earlier));
    };
}

Outcome watch(const ForeignServer& server, std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "item");
    return ChildProcess(get_command(server.get_url(), arguments)).wait();
}

TEST(Watch, RenewsASubscriptionThatThePollCallsInvalid) {
    const ForeignServer server(
        {{"Subscribe", subscribe_with_numbers()},
         {"SubscriptionPolledRefresh",
          [](const std::string& request, int /*earlier*/) -> std::string {
              return request.find(">h0<") != std::string::npos
                         ? "<da:SubscriptionPolledRefreshResponse><da:InvalidServerSubHandles>h0"
                           "</da:InvalidServerSubHandles></da:SubscriptionPolledRefreshResponse>"
                         : create_refreshed({"p"});
          }},
         {"SubscriptionCancel", CANCEL}});
    const Outcome outcome = watch(server, {"--count", "3"});

    EXPECT_EQ(outcome.output, "-  item  s0\n-  item  s1\n-  item  p\n");
    EXPECT_EQ(outcome.errors, "xmlda: the server has lost the subscription: subscribing again\n");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(server.get_requests("SubscriptionCancel"),
                ElementsAre("<SubscriptionCancel ServerSubHandle=\"h1\"/>"));
}

TEST(Watch, RenewsASubscriptionThatAFaultCallsInvalid) {
    const ForeignServer server(
        {{"Subscribe", subscribe_with_numbers()},
         {"SubscriptionPolledRefresh",
          always(to_soap_reply("<E:Fault><faultcode>da:E_NOSUBSCRIPTION</faultcode></E:Fault>",
                               "500 Internal Server Error"))},
         {"SubscriptionCancel", CANCEL}});
    const Outcome outcome = watch(server, {"--count", "2"});

    EXPECT_EQ(outcome.output, "-  item  s0\n-  item  s1\n");
    EXPECT_EQ(outcome.errors, "xmlda: the server has lost the subscription: subscribing again\n");
}

TEST(Watch, ShowsBufferedChangesAndSaysWhatWasLost) {
    const ForeignServer server({{"Subscribe", always(create_subscribed("h", "a"))},
                                {"SubscriptionPolledRefresh",
                                 always(create_refreshed({"a", "b", "c", "c"}, "DataBufferOverflow='true'"))},
                                {"SubscriptionCancel", CANCEL}});
    const Outcome outcome = watch(server, {"--count", "3"});

    EXPECT_EQ(outcome.output, "-  item  a\n-  item  b\n-  item  c\n");
    EXPECT_EQ(outcome.errors, "xmlda: the server could not keep all changes: some are missing\n");
}

TEST(Watch, ShowsCodesAndQualitiesAsChanges) {
    const ForeignServer server(
        {{"Subscribe", always(create_subscribed("h", "a"))},
         {"SubscriptionPolledRefresh",
          always("<da:SubscriptionPolledRefreshResponse><da:RItemList>"
                 "<da:Items ClientItemHandle='1'><da:Value i:type='x:string'>a</da:Value>"
                 "<da:Quality QualityField='bad'/></da:Items>"
                 "<da:Items ClientItemHandle='1' ResultID='da:E_FAIL'/></da:RItemList>"
                 "<da:Errors ID='da:E_FAIL'><da:Text>broken</da:Text></da:Errors>"
                 "</da:SubscriptionPolledRefreshResponse>")},
         {"SubscriptionCancel", CANCEL}});

    EXPECT_EQ(watch(server, {"--count", "3"}).output,
              "-  item  a\n-  item  a  bad\n-  item  (no value)  E_FAIL: broken\n");
}

TEST(Watch, LeavesOutWhatWasRemovedAfterTheServerReportedIt) {
    const ForeignServer server(
        {{"Subscribe", always(create_subscribed("h", "a"))},
         {"SubscriptionPolledRefresh",
          [](const std::string& /*request*/, int earlier) {
              return create_refreshed({earlier == 0 ? "removed" : "back"});
          }},
         {"GetProperties",
          [](const std::string& /*request*/, int earlier) -> std::string {
              return earlier == 1
                         ? "<da:GetPropertiesResponse/>"
                         : "<da:GetPropertiesResponse><da:PropertyLists ItemName='item'>"
                           "<da:Properties Name='quality'><da:Value i:type='x:string'>good</da:Value>"
                           "</da:Properties></da:PropertyLists></da:GetPropertiesResponse>";
          }},
         {"SubscriptionCancel", CANCEL}});

    EXPECT_EQ(watch(server, {"--count", "2"}).output, "-  item  a\n-  item  back\n");
}

TEST(Watch, BearsABusyServer) {
    const ForeignServer server({{"Subscribe", always(create_subscribed("h", "a"))},
                                {"SubscriptionPolledRefresh",
                                 [](const std::string& /*request*/, int earlier) {
                                     return earlier == 0 ? to_soap_reply(
                                                               "<E:Fault><faultcode>da:E_BUSY</faultcode>"
                                                               "</E:Fault>",
                                                               "500 Internal Server Error")
                                                         : create_refreshed({"b"});
                                 }},
                                {"SubscriptionCancel", CANCEL}});
    const Outcome outcome = watch(server, {"--count", "2"});

    EXPECT_EQ(outcome.output, "-  item  a\n-  item  b\n");
    EXPECT_EQ(outcome.errors, "");
}

TEST(Watch, GetsALostConnectionBack) {
    const ForeignServer server({{"Subscribe", always(create_subscribed("h", "a"))},
                                {"SubscriptionPolledRefresh",
                                 [](const std::string& /*request*/, int earlier) {
                                     return earlier < 3 ? to_reply("", "503 Service Unavailable")
                                                        : create_refreshed({"b"});
                                 }},
                                {"SubscriptionCancel", CANCEL}});
    const Outcome outcome = watch(server, {"--count", "2"});

    EXPECT_EQ(outcome.output, "-  item  a\n-  item  b\n");
    EXPECT_EQ(outcome.errors,
              "xmlda: the server answered 503 Service Unavailable: trying again for 60 s\n"
              "xmlda: the connection is back\n");
    EXPECT_EQ(outcome.status, 0);
}

TEST(Watch, GivesUpALostConnection) {
    const ForeignServer server({{"Subscribe", always(create_subscribed("h", "a"))},
                                {"SubscriptionPolledRefresh", always(FakeServer::CLOSE)},
                                {"SubscriptionCancel", CANCEL}});
    const Outcome at_once = watch(server, {"--retry", "0"});
    const Outcome later = watch(server, {"--retry", "50ms"});

    EXPECT_EQ(at_once.output, "-  item  a\n");
    EXPECT_EQ(at_once.errors, "xmlda: the server closed the connection without an answer\n");
    EXPECT_EQ(at_once.status, 4);
    EXPECT_EQ(later.errors,
              "xmlda: the server closed the connection without an answer: trying again for 1 s\n"
              "xmlda: the server closed the connection without an answer\n");
    EXPECT_EQ(later.status, 4);
    EXPECT_EQ(server.get_requests("SubscriptionCancel").size(), 2U);
}

TEST(Watch, EndsWithOtherFaults) {
    const ForeignServer server(
        {{"Subscribe", always(create_subscribed("h", "a"))},
         {"SubscriptionPolledRefresh", always("<E:Fault><faultcode>da:E_SERVERSTATE</faultcode></E:Fault>")},
         {"SubscriptionCancel", CANCEL}});
    const Outcome outcome = watch(server, {});

    EXPECT_EQ(outcome.errors, "xmlda: the server refused the request: E_SERVERSTATE\n");
    EXPECT_EQ(outcome.status, 7);
    EXPECT_EQ(server.get_requests("SubscriptionCancel").size(), 1U);
}

TEST(Watch, EndsWithoutAHandle) {
    const ForeignServer server({{"Subscribe", always(create_subscribed("", "a"))}});
    const Outcome outcome = watch(server, {});

    EXPECT_EQ(outcome.errors, "xmlda: the server gave no handle for the subscription\n");
    EXPECT_EQ(outcome.status, 10);
}

TEST(Watch, EndsWhenTheServerRefusesAllItems) {
    const ForeignServer server(
        {{"Subscribe",
          always("<da:SubscribeResponse><da:RItemList><da:Items><da:ItemValue ClientItemHandle='1' "
                 "ResultID='da:E_UNKNOWNITEMNAME'/></da:Items></da:RItemList></da:SubscribeResponse>")}});
    const Outcome outcome = watch(server, {});

    EXPECT_EQ(outcome.errors, "xmlda: item: E_UNKNOWNITEMNAME\n");
    EXPECT_EQ(outcome.status, 12);
}

class WatchSignals : public ::testing::TestWithParam<int> {};

TEST_P(WatchSignals, CancelTheSubscription) {
    const ForeignServer server({{"Subscribe", always(create_subscribed("h", "a"))},
                                {"SubscriptionPolledRefresh", always(create_refreshed({}))},
                                {"SubscriptionCancel", CANCEL}});
    ChildProcess watch(get_command(server.get_url(), {"item"}));
    watch.wait_for_output("a\n");
    watch.send_signal(GetParam());
    const Outcome outcome = watch.wait();

    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.errors, "");
    EXPECT_THAT(server.get_requests("SubscriptionCancel"),
                ElementsAre("<SubscriptionCancel ServerSubHandle=\"h\"/>"));
    EXPECT_THAT(server.get_requests("Subscribe"),
                ElementsAre(StartsWith("<Subscribe ReturnValuesOnReply=\"true\" "
                                       "SubscriptionPingRate=\"30060\">")));
    EXPECT_THAT(server.get_requests("SubscriptionPolledRefresh"), Each(HasSubstr(">h</ServerSubHandles>")));
}

INSTANTIATE_TEST_SUITE_P(All, WatchSignals, ::testing::Values(SIGINT, SIGTERM, SIGHUP));

TEST(Watch, IsInterruptedWhileTheServerIsSilent) {
    const ForeignServer server({{"Subscribe", always(create_subscribed("h", "a"))},
                                {"SubscriptionPolledRefresh", always(FakeServer::SILENCE)},
                                {"SubscriptionCancel", CANCEL}});
    ChildProcess watch(get_command(server.get_url(), {"item", "--timeout", "10m"}));
    watch.wait_for([&server](const Outcome& /*outcome*/) {
        return !server.get_requests("SubscriptionPolledRefresh").empty();
    });
    watch.send_signal(SIGINT);

    EXPECT_EQ(watch.wait().status, 0);
    EXPECT_EQ(server.get_requests("SubscriptionCancel").size(), 1U);
}

TEST(Watch, CancelsWhenNobodyReadsItsOutput) {
    const ForeignServer server({{"Subscribe", always(create_subscribed("h", "a"))},
                                {"SubscriptionPolledRefresh",
                                 [](const std::string& /*request*/, int earlier) {
                                     return create_refreshed({std::to_string(earlier)});
                                 }},
                                {"SubscriptionCancel", CANCEL}});
    ChildProcess watch(get_command(server.get_url(), {"item"}));
    watch.wait_for_output("a\n");
    watch.close_output();
    const Outcome outcome = watch.wait();

    EXPECT_EQ(outcome.errors, "");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(server.get_requests("SubscriptionCancel").size(), 1U);
}

}  // namespace
}  // namespace xmlda::testing
