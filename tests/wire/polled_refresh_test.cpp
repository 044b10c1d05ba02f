#include "odd_items.h"
#include "subscription_requests.h"
#include "support/StderrCapture.h"
#include "support/TestServer.h"
#include "support/replies.h"
#include "support/wait_for.h"

#include <information_model/TimePoint.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <mutex>
#include <thread>

namespace kx::information_model::opc::testing {
namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;
using std::chrono::system_clock;

const std::string BOTH = R"(<Items ItemName="/boiler/temperature"/><Items ItemName="/boiler/count"/>)";
const std::string BOTH_AND_DOMAIN = BOTH + R"(<Items ItemName="/boiler"/>)";

std::string create_item(const std::string& attributes, const std::string& value) {
    return "<Items " + attributes + (value.empty() ? "/>" : ">" + value + "</Items>");
}

std::string create_int_value(int number) {
    return R"(<Value xsi:type="xsd:int">)" + std::to_string(number) + "</Value>";
}

const std::string TEMPERATURE_VALUE = R"(<Value xsi:type="xsd:double">21.500000</Value>)";
const std::string TEMPERATURE = create_item(R"(ItemName="/boiler/temperature")", TEMPERATURE_VALUE);
const std::string COUNT = create_item(R"(ItemName="/boiler/count")", create_int_value(7));
const std::string BOILER = create_item(R"(ItemName="/boiler")", "");

class PolledRefreshService : public WireTest {
protected:
    PolledRefreshService() : boiler(server.get_root().add_domain("boiler")) {
        temperature = &boiler.add_variable("temperature", Value(21.5));
        temperature->set_timestamp(date_time_from_iso8601_string("2026-11-21T10:11:12Z"));
        count = &boiler.add_variable("count", Value(7));
        count->set_timestamp(date_time_from_iso8601_string("2026-11-21T10:11:13.000000001Z"));
    }

    std::string subscribe(const std::string& items) {
        return get_handle(server.call(create_subscribe(items)));
    }

    /// Subscribes and polls once, so that nothing is new any more.
    std::string subscribe_and_poll(const std::string& items) {
        const std::string handle = subscribe(items);
        EXPECT_EQ(server.call(create_poll(handle)).status, 200);
        return handle;
    }

    void expect_poll(const std::string& handle, const std::string& items) {
        expect_success(server.call(create_poll(handle)), create_poll_response(items));
    }

    void set_count(int number) {
        const std::unique_lock lock(server.get_tree());
        *count = Value(number);
    }

    Domain& boiler;
    Variable* temperature;
    Variable* count;
};

TEST_F(PolledRefreshService, WithoutHandlesTheListIsEmpty) {
    expect_success(server.call("<SubscriptionPolledRefresh/>"), create_poll_response(""));
}

TEST_F(PolledRefreshService, FirstPollReportsAllInRequestOrder) {
    expect_poll(subscribe(R"(<Items ItemName="/boiler/count"/><Items ItemName="/"/>)"
                          R"(<Items ItemName="boiler/temperature"/>)"),
                COUNT + create_item(R"(ItemName="/")", "") + TEMPERATURE);
}

TEST_F(PolledRefreshService, SecondPollReportsOnlyTheDomains) {
    const std::string handle = subscribe(BOTH_AND_DOMAIN);
    expect_poll(handle, TEMPERATURE + COUNT + BOILER);
    expect_poll(handle, BOILER);
    expect_poll(handle, BOILER);
}

TEST_F(PolledRefreshService, ChangedVariableIsReportedExactlyOnce) {
    const std::string handle = subscribe_and_poll(BOTH);
    set_count(8);
    expect_poll(handle, create_item(R"(ItemName="/boiler/count")", create_int_value(8)));
    expect_poll(handle, "");
    set_count(9);
    set_count(10);
    expect_poll(handle, create_item(R"(ItemName="/boiler/count")", create_int_value(10)));
    expect_poll(handle, "");
}

TEST_F(PolledRefreshService, ValueThatChangedAndChangedBackIsReported) {
    const std::string handle = subscribe_and_poll(BOTH);
    set_count(8);
    set_count(7);
    expect_poll(handle, COUNT);
}

TEST_F(PolledRefreshService, RefreshedValueAndTimestampAreNoChange) {
    const std::string handle = subscribe_and_poll(BOTH);
    set_count(7);
    {
        const std::unique_lock lock(server.get_tree());
        count->set_timestamp(system_clock::now());
    }
    expect_poll(handle, "");
}

TEST_F(PolledRefreshService, QualityIsAChange) {
    const std::string handle = subscribe_and_poll(BOTH);
    {
        const std::unique_lock lock(server.get_tree());
        count->set_quality(symbol_list::QUALITY::BAD);
    }
    expect_poll(handle, COUNT);
}

TEST_F(PolledRefreshService, DeadbandIsNotApplied) {
    const std::string handle = subscribe_and_poll(R"(<Items ItemName="/boiler/temperature" Deadband="90"/>)");
    {
        const std::unique_lock lock(server.get_tree());
        *temperature = Value(21.500001);
    }
    expect_poll(handle, create_item(R"(ItemName="/boiler/temperature")",
                                    R"(<Value xsi:type="xsd:double">21.500001</Value>)"));
}

TEST_F(PolledRefreshService, SubscriptionsAreIndependent) {
    const std::string first = subscribe(BOTH);
    const std::string second = subscribe(BOTH);
    expect_poll(first, TEMPERATURE + COUNT);
    expect_poll(first, "");
    expect_poll(second, TEMPERATURE + COUNT);
    set_count(8);
    const std::string changed = create_item(R"(ItemName="/boiler/count")", create_int_value(8));
    expect_poll(first, changed);
    expect_poll(second, changed);
}

TEST_F(PolledRefreshService, SeveralSubscriptionsAreServedInRequestOrder) {
    const std::string first = subscribe(R"(<Items ItemName="/boiler/temperature" ClientItemHandle="1"/>)");
    const std::string second = subscribe(R"(<Items ItemName="/boiler/temperature" ClientItemHandle="2"/>)");
    expect_success(
        server.call(create_poll_of({second, first})),
        create_poll_response(
            create_item(R"(ClientItemHandle="2" ItemName="/boiler/temperature")", TEMPERATURE_VALUE) +
            create_item(R"(ClientItemHandle="1" ItemName="/boiler/temperature")", TEMPERATURE_VALUE)));
}

// The second mention comes after the first one's poll has ended, and so finds no changes.
TEST_F(PolledRefreshService, SameHandleTwiceReportsVariablesOnce) {
    const std::string handle = subscribe(BOTH_AND_DOMAIN);
    expect_success(server.call(create_poll_of({handle, handle})),
                   create_poll_response(TEMPERATURE + COUNT + BOILER + BOILER));
}

TEST_F(PolledRefreshService, UnknownHandlesAreReportedAndTheOthersServed) {
    const std::string handle = subscribe(BOTH);
    expect_success(server.call(create_poll_of({"one", handle, "2", "one"})),
                   create_poll_response(TEMPERATURE + COUNT,
                                        create_invalid("one") + create_invalid("2") + create_invalid("one")));
}

TEST_F(PolledRefreshService, HandleIsTheWholeTextOfItsElement) {
    const std::string handle = subscribe(BOTH);
    expect_success(
        server.call(create_poll_of({" " + handle, handle + "\n", "", "a<b>c</b>d<!-- e --><![CDATA[<f>]]>"})),
        create_poll_response("", create_invalid(" " + handle) + create_invalid(handle + "\n") +
                                     create_invalid("") + create_invalid("acd&lt;f&gt;")));
    expect_success(
        server.call(create_poll_of({handle.substr(0, 3) + "<!-- --><x>" + handle.substr(3) + "</x>"})),
        create_poll_response(TEMPERATURE + COUNT));
}

TEST_F(PolledRefreshService, OtherChildrenAreSkipped) {
    const std::string handle = subscribe(BOTH);
    expect_success(
        server.call(R"(<SubscriptionPolledRefresh xmlns:o="urn:other"> text <!-- c --><o:ServerSubHandles>1)"
                    R"(</o:ServerSubHandles><ServerSubHandle>2</ServerSubHandle><ServerSubHandles>)" +
                    handle +
                    "</ServerSubHandles><Options ReturnItemTime=\"0\"/></SubscriptionPolledRefresh>"),
        create_poll_response(TEMPERATURE + COUNT));
}

TEST_F(PolledRefreshService, AnyPrefixWillDo) {
    const std::string handle = subscribe(R"(<Items ItemName="/boiler/count"/>)");
    expect_success(
        server.call(
            R"(<da:SubscriptionPolledRefresh xmlns:da="http://opcfoundation.org/webservices/XMLDA/1.0/")"
            R"( da:HoldTime="2000-01-01T00:00:00Z" da:WaitTime="1" da:ReturnAllItems="yes">)"
            R"(<da:Options da:ClientRequestHandle="r" da:ReturnItemTime="no"/><da:ServerSubHandles>)" +
            handle + "</da:ServerSubHandles></da:SubscriptionPolledRefresh>"),
        create_poll_response(COUNT, "", "r"));
}

TEST_F(PolledRefreshService, ItemTimeIsWrittenWhenAskedFor) {
    const std::string item = R"(<Items ItemName="/boiler/count" ClientItemHandle="h"/>)";
    const std::string timed = create_item(
        R"(ClientItemHandle="h" ItemName="/boiler/count" Timestamp="2026-11-21T10:11:13.000000001Z")",
        create_int_value(7));
    expect_success(server.call(create_poll(subscribe(item), "", R"(<Options ReturnItemTime="1"/>)")),
                   create_poll_response(timed));
    expect_success(server.call(create_poll(subscribe(item), "", "<Options/>")), create_poll_response(timed));
    const std::string plain =
        create_item(R"(ClientItemHandle="h" ItemName="/boiler/count")", create_int_value(7));
    expect_success(server.call(create_poll(subscribe(item), "", R"(<Options ReturnItemTime="0"/>)")),
                   create_poll_response(plain));
    expect_poll(subscribe(item), plain);
}

TEST_F(PolledRefreshService, DomainCarriesTheCurrentTime) {
    const std::string handle = subscribe(R"(<Items ItemName="/boiler" ClientItemHandle=""/>)");
    const TimePoint before = system_clock::now();
    const Reply reply = server.call(create_poll(handle, "", "<Options/>"));
    EXPECT_EQ(mask_all_times(reply.body),
              create_reply(create_poll_response(
                  create_item(R"(ClientItemHandle="" ItemName="/boiler" Timestamp="*")", ""))));
    const auto start = reply.body.find("Timestamp=\"") + 11;
    const TimePoint time =
        date_time_from_iso8601_string(reply.body.substr(start, reply.body.find('"', start) - start));
    EXPECT_GE(time, before);
    EXPECT_LE(time, system_clock::now());
}

TEST_F(PolledRefreshService, EmptyClientItemHandleIsWritten) {
    expect_poll(subscribe(R"(<Items ItemName="/boiler/count" ClientItemHandle=""/>)"),
                create_item(R"(ClientItemHandle="" ItemName="/boiler/count")", create_int_value(7)));
}

TEST_F(PolledRefreshService, OptionsAreThoseOfThePoll) {
    const std::string handle = get_handle(
        server.call(create_subscribe(BOTH, LONG_PING_RATE, R"(<Options ClientRequestHandle="s"/>)")));
    expect_poll(handle, TEMPERATURE + COUNT);
    expect_success(server.call(create_poll(handle, "", R"(<Options ClientRequestHandle="p"/>)")),
                   create_poll_response("", "", "p"));
    expect_success(server.call(create_poll(handle, "", R"(<Options ClientRequestHandle=""/>)")),
                   create_poll_response("", "", ""));
    expect_success(server.call(create_poll(handle, R"( ClientRequestHandle="not there")")),
                   create_poll_response(""));
}

TEST_F(PolledRefreshService, WaitTimeAndReturnAllItemsHaveNoEffect) {
    const std::string handle = subscribe_and_poll(BOTH_AND_DOMAIN);
    expect_success(server.call(create_poll(handle, R"( WaitTime="2147483647" ReturnAllItems="true")")),
                   create_poll_response(BOILER));
    expect_success(server.call(create_poll(handle, R"( WaitTime="-1" ReturnAllItems="false")")),
                   create_poll_response(BOILER));
}

TEST_F(PolledRefreshService, HoldTimeDelaysTheReply) {
    const std::string handle = subscribe(BOTH);
    const TimePoint hold_time = system_clock::now() + 1s;
    const Reply reply =
        server.call(create_poll(handle, " HoldTime=\"" + to_iso8601_string(hold_time) + "\""));
    EXPECT_GE(system_clock::now(), hold_time);
    expect_success(reply, create_poll_response(TEMPERATURE + COUNT));
}

TEST_F(PolledRefreshService, HoldTimeDelaysTheReplyWithoutAKnownHandleToo) {
    for (const std::string handles : {"", "<ServerSubHandles>0</ServerSubHandles>"}) {
        const TimePoint hold_time = system_clock::now() + 500ms;
        const Reply reply =
            server.call("<SubscriptionPolledRefresh HoldTime=\"" + to_iso8601_string(hold_time) + "\">" +
                        handles + "</SubscriptionPolledRefresh>");
        EXPECT_GE(system_clock::now(), hold_time) << handles;
        expect_success(reply, create_poll_response("", handles.empty() ? "" : create_invalid("0")));
    }
}

TEST_F(PolledRefreshService, PassedHoldTimeHasNoEffect) {
    const std::string handle = subscribe(BOTH_AND_DOMAIN);
    expect_success(server.call(create_poll(handle, R"( HoldTime="1970-01-01T00:00:00Z")")),
                   create_poll_response(TEMPERATURE + COUNT + BOILER));
    expect_success(server.call(create_poll(handle, R"( HoldTime="1677-09-21T00:12:44")")),
                   create_poll_response(BOILER));
    expect_success(server.call(create_poll(handle, R"( HoldTime="0001-01-01T00:00:00Z")")),
                   create_poll_response(BOILER));
    expect_success(server.call(create_poll(handle, R"( HoldTime="-0044-03-15T09:30:00")")),
                   create_poll_response(BOILER));
    expect_success(server.call(create_poll(handle, R"( HoldTime="2020-01-01T00:00:00.123456789+05:30")")),
                   create_poll_response(BOILER));
}

// Nothing is locked meanwhile: the host can write, other clients are served, and the poll sees the change.
TEST_F(PolledRefreshService, HoldingLocksNothing) {
    const std::string handle = subscribe_and_poll(BOTH);
    HttpClient holder(server.get_port());
    const TimePoint hold_time = system_clock::now() + 1s;
    const std::string body =
        create_request(create_poll(handle, " HoldTime=\"" + to_iso8601_string(hold_time) + "\""));
    holder.send("POST / HTTP/1.1\r\nHost: localhost\r\nContent-Length: " + std::to_string(body.size()) +
                "\r\n\r\n" + body);
    set_count(8);
    expect_poll(subscribe(R"(<Items ItemName="/boiler"/>)"), BOILER);
    expect_success(holder.receive(),
                   create_poll_response(create_item(R"(ItemName="/boiler/count")", create_int_value(8))));
    EXPECT_GE(system_clock::now(), hold_time);
}

TEST_F(PolledRefreshService, RemovedVariableIsLeftOutUntilItIsBack) {
    const std::string handle = subscribe_and_poll(BOTH_AND_DOMAIN);
    {
        const std::unique_lock lock(server.get_tree());
        boiler.remove("count");
    }
    StderrCapture capture;
    expect_poll(handle, BOILER);
    expect_poll(handle, BOILER);
    EXPECT_EQ(
        capture.stop(),
        "error not found Path not found: /boiler/count\nerror not found Path not found: /boiler/count\n");
    {
        const std::unique_lock lock(server.get_tree());
        boiler.add_variable("count", Value(8));
    }
    StderrCapture silence;
    expect_poll(handle, create_item(R"(ItemName="/boiler/count")", create_int_value(8)) + BOILER);
    expect_poll(handle, BOILER);
    EXPECT_EQ(silence.stop(), "");
}

TEST_F(PolledRefreshService, DomainReplacedByAVariableAndBack) {
    const std::string handle =
        subscribe_and_poll(R"(<Items ItemName="/boiler"/><Items ItemName="/boiler/count"/>)");
    {
        const std::unique_lock lock(server.get_tree());
        server.get_root().remove("boiler");
        server.get_root().add_variable("boiler", Value("gone"));
    }
    StderrCapture capture;
    expect_poll(handle, create_item(R"(ItemName="/boiler")", R"(<Value xsi:type="xsd:string">gone</Value>)"));
    expect_poll(handle, "");
    EXPECT_EQ(
        capture.stop(),
        "error not found Path not found: /boiler/count\nerror not found Path not found: /boiler/count\n");
    {
        const std::unique_lock lock(server.get_tree());
        server.get_root().remove("boiler");
        server.get_root().add_domain("boiler").add_variable("count", Value(7));
    }
    expect_poll(handle, BOILER + COUNT);
    expect_poll(handle, BOILER);
}

TEST_F(PolledRefreshService, VariableOfAnotherTypeIsReportedAsItIs) {
    const std::string handle = subscribe_and_poll(R"(<Items ItemName="/boiler/count"/>)");
    {
        const std::unique_lock lock(server.get_tree());
        boiler.remove("count");
        boiler.add_variable("count", Value(std::vector<int>{}));
    }
    expect_poll(handle, create_item(R"(ItemName="/boiler/count")", R"(<Value xsi:type="ArrayOfInt"/>)"));
}

// The failed poll must not count as one: what it would have reported is still to come.
TEST_F(PolledRefreshService, ValueThatCannotBeSentFailsTheRequestAndLosesNothing) {
    StderrCapture capture;
    const std::string handle =
        subscribe_and_poll(R"(<Items ItemName="/boiler/count"/><Items ItemName="/later"/>)");
    EXPECT_EQ(capture.stop(), "error not found:/later\nerror not found Path not found: /later\n");
    set_count(8);
    {
        const std::unique_lock lock(server.get_tree());
        server.get_root().add_variable("later", Value(1, ValueTypeInfo(VALUE_TYPE::DECIMAL, false)));
    }
    expect_bad_request(server.call(create_poll(handle)));
    {
        const std::unique_lock lock(server.get_tree());
        server.get_root().remove("later");
    }
    StderrCapture poll_capture;
    expect_poll(handle, create_item(R"(ItemName="/boiler/count")", create_int_value(8)));
    EXPECT_EQ(poll_capture.stop(), "error not found Path not found: /later\n");
}

TEST_F(PolledRefreshService, ItemOfUnknownTypeFailsTheRequestAndLosesNothing) {
    const std::string handle = subscribe(BOTH);
    {
        const ItemOfUnknownType odd(*count);
        expect_bad_request(server.call(create_poll(handle)));
        EXPECT_TRUE(server.get_tree().try_lock());
        server.get_tree().unlock();
    }
    expect_poll(handle, TEMPERATURE + COUNT);
}

// Each subscription is polled on its own: what came before the one that fails has been polled.
TEST_F(PolledRefreshService, FailureOfALaterSubscriptionConsumesTheChangesOfEarlierOnes) {
    const std::string first = subscribe(R"(<Items ItemName="/boiler/temperature"/>)");
    const std::string second = subscribe(R"(<Items ItemName="/boiler/count"/>)");
    {
        const ItemOfUnknownType odd(*count);
        expect_bad_request(server.call(create_poll_of({first, second})));
    }
    expect_success(server.call(create_poll_of({first, second})), create_poll_response(COUNT));
}

TEST_F(PolledRefreshService, ManySubscriptionsInOneRequest) {
    constexpr int SUBSCRIPTIONS = 500;
    HttpClient client(server.get_port());
    std::vector<std::string> handles;
    std::string invalid;
    std::string reported;
    for (int number = 0; number < SUBSCRIPTIONS; ++number) {
        const std::string name = std::to_string(number);
        handles.push_back(get_handle(client.post(create_request(
            create_subscribe(R"(<Items ItemName="/boiler/count" ClientItemHandle=")" + name + "\"/>")))));
        handles.push_back(name);
        invalid += create_invalid(name);
        reported +=
            create_item("ClientItemHandle=\"" + name + R"(" ItemName="/boiler/count")", create_int_value(7));
    }
    expect_success(server.call(create_poll_of(handles)), create_poll_response(reported, invalid));
    expect_success(server.call(create_poll_of(handles)), create_poll_response("", invalid));
}

TEST_F(PolledRefreshService, ManyUnknownHandles) {
    constexpr int HANDLES = 100'000;
    std::vector<std::string> handles;
    std::string invalid;
    for (int number = 0; number < HANDLES; ++number) {
        handles.push_back("x" + std::to_string(number));
        invalid += create_invalid(handles.back());
    }
    const Reply reply = server.call(create_poll_of(handles));
    EXPECT_EQ(reply.status, 200);
    EXPECT_TRUE(mask_times(reply.body) == create_reply(create_poll_response("", invalid)));
}

// A handle repeated n times and n domains in its subscription would make a reply of n times n elements.
TEST_F(PolledRefreshService, RepeatedHandlesCannotExhaustTheProcess) {
    constexpr std::size_t ITEMS = 1000;
    constexpr std::size_t REPETITIONS = 100;  // as many as name 100,000 items
    std::string items;
    std::string reported;
    for (std::size_t item = 0; item < ITEMS; ++item) {
        items += R"(<Items ItemName="/boiler"/>)";
        reported += BOILER;
    }
    const std::string handle = subscribe(items);
    std::string all_reported;
    for (std::size_t mention = 0; mention < 1 + REPETITIONS; ++mention) {
        all_reported += reported;
    }
    const Reply reply = server.call(create_poll_of(std::vector(1 + REPETITIONS, handle)));
    EXPECT_EQ(reply.status, 200);
    EXPECT_TRUE(mask_times(reply.body) == create_reply(create_poll_response(all_reported)));
    expect_bad_request(server.call(create_poll_of(std::vector(2 + REPETITIONS, handle))));
}

// Variables are reported for the first mention alone, so that repetitions of them are no danger.
TEST_F(PolledRefreshService, RepeatedHandlesOfVariablesAreServed) {
    std::string items;
    std::string reported;
    for (int item = 0; item < 1000; ++item) {
        items += R"(<Items ItemName="/boiler/count"/>)";
        reported += COUNT;
    }
    const std::string handle = subscribe(items);
    const Reply reply = server.call(create_poll_of(std::vector(300, handle)));
    EXPECT_EQ(reply.status, 200);
    EXPECT_TRUE(mask_times(reply.body) == create_reply(create_poll_response(reported)));
}

TEST_F(PolledRefreshService, RepeatedHandleReportsAllButVariablesEachTime) {
    StderrCapture capture;
    const std::string handle = subscribe(R"(<Items ItemName="/x"/>)" + BOTH_AND_DOMAIN);
    const std::string other = subscribe(BOTH);
    expect_success(server.call(create_poll_of({handle, "0", other, handle, "0", other, handle})),
                   create_poll_response(TEMPERATURE + COUNT + BOILER + TEMPERATURE + COUNT + BOILER + BOILER,
                                        create_invalid("0") + create_invalid("0")));
    const std::string line = "error not found Path not found: /x\n";
    EXPECT_EQ(capture.stop(), "error not found:/x\n" + line + line + line);
}

TEST_F(PolledRefreshService, RefusedRepetitionsLoseNoChange) {
    std::string domains;
    for (int item = 0; item < 1000; ++item) {
        domains += R"(<Items ItemName="/boiler"/>)";
    }
    const std::string changed = subscribe_and_poll(BOTH);
    const std::string repeated = subscribe(domains + R"(<Items ItemName="/boiler/count"/>)");
    set_count(8);
    std::vector<std::string> handles(102, repeated);
    handles.insert(handles.begin(), changed);
    expect_bad_request(server.call(create_poll_of(handles)));
    const std::string count_8 = create_item(R"(ItemName="/boiler/count")", create_int_value(8));
    expect_poll(changed, count_8);
    EXPECT_NE(server.call(create_poll(repeated)).body.find(count_8), std::string::npos);
}

TEST_F(PolledRefreshService, ExpiredSubscriptionIsInvalid) {
    const std::string handle = get_handle(server.call(create_subscribe(BOTH, "1")));
    const auto asked_for = steady_clock::now() + 1ms;
    while (steady_clock::now() <= asked_for) {
        std::this_thread::yield();
    }
    expect_success(server.call(create_poll(handle)), create_poll_response("", create_invalid(handle)));
}

// Each poll has to come within the ping rate from the request before. Where the machine stood still for
// longer, the subscription may be gone, and the test begins anew.
TEST_F(PolledRefreshService, PollingKeepsTheSubscriptionAlive) {
    constexpr auto PING_RATE = 1s;
    const auto poll_for_two_ping_rates = [&] {
        const auto start = steady_clock::now();
        const std::string handle =
            get_handle(server.call(create_subscribe(R"(<Items ItemName="/boiler"/>)", "1000")));
        for (auto previous = start; previous < start + 2 * PING_RATE;) {
            const auto sent = steady_clock::now();
            const Reply reply = server.call(create_poll(handle));
            if (steady_clock::now() - previous >= PING_RATE) {
                return false;
            }
            expect_success(reply, create_poll_response(BOILER));
            previous = sent;
        }
        return true;
    };
    EXPECT_TRUE(wait_for(poll_for_two_ping_rates));
}

TEST_F(PolledRefreshService, NewUnknownItemsAreNamedAtEachPoll) {
    StderrCapture capture;
    const std::string handle = subscribe(R"(<Items ItemName="x"/><Items ItemName="/y/z"/>)");
    expect_poll(handle, "");
    EXPECT_EQ(capture.stop(),
              "error not found:x\nerror not found:/y/z\n"
              "error not found Path not found: x\nerror not found Path not found: /y/z\n");
}

class MalformedPolledRefresh : public WireTest, public ::testing::WithParamInterface<std::string> {};

TEST_P(MalformedPolledRefresh, IsABadRequest) {
    expect_bad_request(server.call(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(Requests, MalformedPolledRefresh,
                         ::testing::Values(create_poll("1", R"( HoldTime="")"),
                                           create_poll("1", R"( HoldTime="soon")"),
                                           create_poll("1", R"( HoldTime="2026-11-21")"),
                                           create_poll("1", R"( HoldTime="0001-02-30T00:00:00Z")"),
                                           create_poll("1", R"( HoldTime="2026-11-21 10:11:12Z")"),
                                           create_poll("1", R"( HoldTime="9999-12-31T23:59:59Z")"),
                                           create_poll("1", R"( WaitTime="")"),
                                           create_poll("1", R"( WaitTime="1.5")"),
                                           create_poll("1", R"( WaitTime="2147483648")"),
                                           create_poll("1", R"( ReturnAllItems="")"),
                                           create_poll("1", R"( ReturnAllItems="maybe")"),
                                           create_poll("1", "", R"(<Options ReturnErrorText="maybe"/>)"),
                                           create_poll("1", "", R"(<Options ReturnDiagnosticInfo="maybe"/>)"),
                                           create_poll("1", "", R"(<Options ReturnItemTime="maybe"/>)"),
                                           create_poll("1", "", R"(<Options ReturnItemPath="maybe"/>)")));

}  // namespace
}  // namespace kx::information_model::opc::testing
