#include "subscription_requests.h"
#include "support/TestServer.h"
#include "support/replies.h"

#include <gtest/gtest.h>

#include <chrono>
#include <mutex>
#include <thread>

namespace kx::information_model::opc::testing {
namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;
using std::chrono::system_clock;

class CancelService : public WireTest {
protected:
    CancelService() { server.get_root().add_variable("count", Value(7)); }

    std::string subscribe(const std::string& ping_rate = LONG_PING_RATE) {
        return get_handle(server.call(create_subscribe(R"(<Items ItemName="/count"/>)", ping_rate)));
    }

    void expect_cancelled(const std::string& handle) {
        expect_success(server.call(create_cancel(handle)),
                       R"(<SubscriptionCancelResponse ClientRequestHandle=""/>)");
    }

    void expect_no_subscription(const std::string& request) {
        expect_fault(server.call(request), "E_NOSUBSCRIPTION",
                     "An invalid subscription handle was passed to the request.");
    }
};

TEST_F(CancelService, AnswersWithTheClientRequestHandleAlone) {
    expect_success(server.call(R"(<SubscriptionCancel ServerSubHandle=")" + subscribe() +
                               R"(" ClientRequestHandle="a &lt;b&gt;"/>)"),
                   R"(<SubscriptionCancelResponse ClientRequestHandle="a &lt;b&gt;"/>)");
}

TEST_F(CancelService, AbsentAndEmptyClientRequestHandleAreWrittenEmpty) {
    expect_cancelled(subscribe());
    expect_success(server.call(R"(<SubscriptionCancel ServerSubHandle=")" + subscribe() +
                               R"(" ClientRequestHandle=""/>)"),
                   R"(<SubscriptionCancelResponse ClientRequestHandle=""/>)");
}

TEST_F(CancelService, OptionsAreNotRead) {
    expect_success(
        server.call(R"(<SubscriptionCancel ServerSubHandle=")" + subscribe() +
                    R"("><Options ClientRequestHandle="o" ReturnItemTime="maybe"/></SubscriptionCancel>)"),
        R"(<SubscriptionCancelResponse ClientRequestHandle=""/>)");
}

TEST_F(CancelService, CancelledHandleIsInvalidForPolls) {
    const std::string handle = subscribe();
    const std::string other = subscribe();
    expect_cancelled(handle);
    expect_success(
        server.call(create_poll_of({handle, other})),
        create_poll_response(R"(<Items ItemName="/count"><Value xsi:type="xsd:int">7</Value></Items>)",
                             create_invalid(handle)));
}

TEST_F(CancelService, SecondCancelIsAFault) {
    const std::string handle = subscribe();
    expect_cancelled(handle);
    expect_no_subscription(create_cancel(handle));
}

TEST_F(CancelService, UnknownHandleIsAFault) {
    const std::string handle = subscribe();
    expect_no_subscription(create_cancel("1"));
    expect_no_subscription(create_cancel(""));
    expect_no_subscription(create_cancel("0" + handle));
    expect_no_subscription(create_cancel(" " + handle));
    expect_cancelled(handle);
}

TEST_F(CancelService, ExpiredHandleIsAFault) {
    const std::string handle = subscribe("1");
    const auto asked_for = steady_clock::now() + 1ms;
    while (steady_clock::now() <= asked_for) {
        std::this_thread::yield();
    }
    expect_no_subscription(create_cancel(handle));
    expect_no_subscription(create_cancel(subscribe("0")));
}

TEST_F(CancelService, WithoutHandleIsABadRequest) {
    expect_bad_request(server.call("<SubscriptionCancel/>"));
    expect_bad_request(server.call(R"(<SubscriptionCancel ClientRequestHandle="r"/>)"));
    expect_bad_request(
        server.call("<SubscriptionCancel><ServerSubHandle>1</ServerSubHandle></SubscriptionCancel>"));
}

TEST_F(CancelService, AnyPrefixWillDo) {
    expect_success(
        server.call(R"(<da:SubscriptionCancel xmlns:da="http://opcfoundation.org/webservices/XMLDA/1.0/")"
                    R"( da:ServerSubHandle=")" +
                    subscribe() + R"(" da:ClientRequestHandle="r"/>)"),
        R"(<SubscriptionCancelResponse ClientRequestHandle="r"/>)");
}

TEST_F(CancelService, DoesNotLockTheTree) {
    const std::string handle = subscribe();
    const std::unique_lock lock(server.get_tree());
    expect_cancelled(handle);
}

// The look-up comes after the hold time, so the poll finds the handle gone.
TEST_F(CancelService, DuringAPollsHoldTime) {
    const std::string handle = subscribe();
    HttpClient poller(server.get_port());
    const TimePoint hold_time = system_clock::now() + 1500ms;
    const std::string body =
        create_request(create_poll(handle, " HoldTime=\"" + to_iso8601_string(hold_time) + "\""));
    poller.send("POST / HTTP/1.1\r\nHost: localhost\r\nContent-Length: " + std::to_string(body.size()) +
                "\r\n\r\n" + body);
    expect_cancelled(handle);
    expect_success(poller.receive(), create_poll_response("", create_invalid(handle)));
    EXPECT_GE(system_clock::now(), hold_time);
}

}  // namespace
}  // namespace kx::information_model::opc::testing
