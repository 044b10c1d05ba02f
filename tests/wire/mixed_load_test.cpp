#include "PairWriter.h"
#include "subscription_requests.h"
#include "support/TestServer.h"
#include "support/TestThreads.h"
#include "support/replies.h"

#include <information_model/TimePoint.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <stop_token>
#include <string>
#include <vector>

namespace kx::information_model::opc::testing {
namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;
using std::chrono::system_clock;

/// How long the load goes on: the environment variable KX_MIXED_LOAD_SECONDS, 3 if it is not set.
std::chrono::seconds get_duration() {
    const char* seconds = std::getenv("KX_MIXED_LOAD_SECONDS");
    return std::chrono::seconds(seconds == nullptr ? 3 : std::stoi(seconds));
}

/// The replies of the services that report nothing that changes, as one client alone gets them.
struct References {
    explicit References(const TestServer& server)
        : status(get_reply(server, "<GetStatus/>", "GetStatus")),
          elements(get_reply(server, BROWSE, "Browse")),
          properties(get_reply(server, GET_PROPERTIES, "GetProperties")) {}

    static std::string get_reply(const TestServer& server, const std::string& request,
                                 const std::string& service) {
        const Reply reply = server.call(request);
        EXPECT_EQ(reply.status, 200);
        EXPECT_NE(reply.body.find("<" + service + "Response>"), std::string::npos) << reply.body;
        return mask_times(reply.body);
    }

    static inline const std::string BROWSE =
        R"(<Browse ItemName="/fixed" ReturnAllProperties="true" ReturnPropertyValues="true"/>)";
    static inline const std::string GET_PROPERTIES =
        R"(<GetProperties ReturnAllProperties="true" ReturnPropertyValues="true"><ItemIDs ItemName="/fixed/value"/>)"
        R"(<ItemIDs ItemName="/fixed"/></GetProperties>)";

    std::string status;
    std::string elements;
    std::string properties;
};

/// One client, which calls every service in turn and knows what each must answer: nobody else writes its
/// variable, and the host writes "/left" and "/right" together.
class MixedClient {
public:
    MixedClient(TestServer& server, const References& references, int number)
        : server_(server),
          client_(server.get_port()),
          references_(references),
          path_("/own" + std::to_string(number)) {
        server.get_root().add_variable(path_.substr(1), Value(-1), {.writable = true});
    }

    void run_round(int round) {
        call_unchanging_services();
        read_pair();
        write(round);
        follow(round);
        fail();
    }

private:
    Reply call(const std::string& request) { return client_.post(create_request(request)); }

    std::string create_own(int number) const {
        return "<Items ItemName=\"" + path_ + "\"><Value xsi:type=\"xsd:int\">" + std::to_string(number) +
               "</Value></Items>";
    }

    void call_unchanging_services() {
        EXPECT_EQ(mask_times(call("<GetStatus/>").body), references_.status);
        EXPECT_EQ(mask_times(call(References::BROWSE).body), references_.elements);
        EXPECT_EQ(mask_times(call(References::GET_PROPERTIES).body), references_.properties);
    }

    /// What a reply reports for "/left", -1 if nothing.
    static int get_left(const Reply& reply) {
        const std::string digits =
            get_digits_after(reply, R"(<Items ItemName="/left"><Value xsi:type="xsd:int">)");
        return digits.empty() ? -1 : std::stoi(digits);
    }

    void read_pair() {
        const Reply reply = call("<Read><ItemList>" + PAIR + "</ItemList></Read>");
        expect_success(reply, "<ReadResponse>" + create_item_list(create_pair(get_left(reply))) +
                                  create_result("ReadResult") + "</ReadResponse>");
    }

    void write(int round) {
        expect_success(call(R"(<Write ReturnValuesOnReply="true"><ItemList>)" + create_own(round) +
                            "</ItemList></Write>"),
                       "<WriteResponse>" + create_item_list(create_own(round)) +
                           create_result("WriteResult") + "</WriteResponse>");
    }

    void follow(int round) {
        const std::string own = "<Items ItemName=\"" + path_ + "\"/>";
        const std::string handle = get_handle(call(create_subscribe(own + PAIR)));
        const Reply first = call(create_poll(handle));
        expect_success(first, create_poll_response(create_own(round) + create_pair(get_left(first))));

        const std::string hold_time = to_iso8601_string(system_clock::now() + 2ms);
        const Reply second = call(create_poll(handle, " HoldTime=\"" + hold_time + "\""));
        const int left = get_left(second);
        expect_success(second, create_poll_response(left < 0 ? "" : create_pair(left)));

        expect_success(call(create_cancel(handle)),
                       R"(<SubscriptionCancelResponse ClientRequestHandle=""/>)");
        expect_success(call(create_poll(handle)), create_poll_response("", create_invalid(handle)));
    }

    void fail() {
        expect_fault(call(create_cancel("1")), "E_NOSUBSCRIPTION",
                     "An invalid subscription handle was passed to the request.");
        expect_bad_request(server_.post("<"));  // closes its connection, so not over ours
    }

    const TestServer& server_;
    HttpClient client_;
    const References& references_;
    std::string path_;
};

TEST(MixedLoad, AllServicesAnswerAsIfAlone) {
    constexpr int CLIENTS = 8;
    TestServer server;
    PairWriter host(server);
    Domain& fixed = server.get_root().add_domain("fixed", {.description = "Nothing changes here"});
    fixed.add_variable("value", Value(21.5), {.engineering_unit = "degC", .delta = Value(0.5)});
    fixed.add_domain("empty");
    std::vector<MixedClient> clients;
    clients.reserve(CLIENTS);
    const References references(server);
    for (int number = 0; number < CLIENTS; ++number) {
        clients.emplace_back(server, references, number);
    }

    const auto end = steady_clock::now() + get_duration();
    std::atomic<int> rounds{0};
    TestThreads threads;
    for (MixedClient& client : clients) {
        threads.start([&] {
            for (int round = 0; steady_clock::now() < end && !::testing::Test::HasFailure(); ++round) {
                client.run_round(round);
                ++rounds;
            }
        });
    }
    TestThreads writer([&](const std::stop_token& stop) { host.run(stop, rounds); });
    threads.join();
    writer.stop();
    EXPECT_GE(rounds, CLIENTS);
    ::testing::Test::RecordProperty("rounds", rounds);
}

}  // namespace
}  // namespace kx::information_model::opc::testing
