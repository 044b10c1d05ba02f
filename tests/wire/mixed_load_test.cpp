#include "PairWriter.h"
#include "subscription_requests.h"
#include "support/TestServer.h"
#include "support/TestThreads.h"
#include "support/process_state.h"
#include "support/replies.h"
#include "support/wait_for.h"

#include <information_model/TimePoint.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <deque>
#include <iostream>
#include <limits>
#include <mutex>
#include <stop_token>
#include <string>
#include <thread>
#include <vector>

namespace kx::information_model::opc::testing {
namespace {

using namespace std::chrono_literals;
using information_model::testing::wait_for;
using std::chrono::steady_clock;
using std::chrono::system_clock;

/// The number in an environment variable, or another one if it is not set.
int get_setting(const char* name, int standard) {
    const char* text = std::getenv(name);
    return text == nullptr ? standard : std::stoi(text);
}

/// How long the load goes on: 3 s unless KX_MIXED_LOAD_SECONDS says more.
std::chrono::seconds get_duration() {
    return std::chrono::seconds(get_setting("KX_MIXED_LOAD_SECONDS", 3));
}

/// By how many percent memory may grow after the first tenth; what a short load takes says nothing.
int get_memory_limit() {
    return get_setting("KX_MIXED_LOAD_MEMORY", std::numeric_limits<int>::max());
}

/// Of the subscriptions that are left behind. Short, so that how many there are at a time, and what memory
/// they take, does not depend on how busy the machine is.
constexpr std::chrono::milliseconds PING_RATE = 500ms;

/// Adds a domain to "/coming" every hundredth of a second or, every tenth time, removes them all.
void grow_and_shrink(TestServer& server, Domain& coming, const std::stop_token& stop) {
    for (int turn = 0; !stop.stop_requested(); turn = (turn + 1) % 10) {
        {
            const std::lock_guard lock(server.get_tree());
            if (turn == 9) {
                coming.clear();
            } else {
                Domain& domain =
                    coming.add_domain("d" + std::to_string(turn), {.description = "for a moment"});
                domain.add_variable("count", Value(turn), {.writable = true});
            }
        }
        std::this_thread::sleep_for(10ms);
    }
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
        browse_changing();
        if (round % 10 == 0) {
            abandon();
        }
        if (!abandoned_.empty() && steady_clock::now() > abandoned_.front().end) {
            expect_oldest_gone();
        }
        fail();
    }

    std::size_t get_request_count() const { return requests_; }

    /// That none of the subscriptions left behind is there any more. To be called when their time is over.
    void expect_none_left() {
        while (!abandoned_.empty()) {
            expect_oldest_gone();
        }
    }

private:
    struct Abandoned {
        std::string handle;
        steady_clock::time_point end;  // of its time, with some to spare
    };

    Reply call(const std::string& request) {
        ++requests_;
        return client_.post(create_request(request));
    }

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

    void browse_changing() {
        const Reply reply = call(R"(<Browse ItemName="/coming" ReturnAllProperties="true"/>)");
        EXPECT_EQ(reply.status, 200);
        EXPECT_NE(reply.body.find("<BrowseResponse"), std::string::npos) << reply.body;
        EXPECT_TRUE(reply.body.ends_with("</soap:Envelope>")) << reply.body;
    }

    /// Leaves a subscription behind.
    void abandon() {
        const std::string handle =
            get_handle(call(create_subscribe(PAIR, std::to_string(PING_RATE.count()))));
        abandoned_.push_back({handle, steady_clock::now() + 2 * PING_RATE});
    }

    void expect_oldest_gone() {
        const std::string handle = abandoned_.front().handle;
        abandoned_.pop_front();
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
    std::deque<Abandoned> abandoned_;
    std::size_t requests_ = 0;
};

std::size_t get_memory() {
    return read_process_status("VmRSS:");
}

/// With the descriptor that the thread which accepts has while it waits, and not in between.
std::size_t count_idle_files() {
    std::size_t files = 0;
    for (int times = 0; times < 20; ++times) {
        files = std::max(files, count_open_files());
        std::this_thread::sleep_for(10ms);
    }
    return files;
}

/// A look at the process on the way: what it takes after a tenth of the time, when all is warm.
std::size_t get_memory_after_a_tenth(steady_clock::time_point start, std::chrono::seconds duration) {
    std::this_thread::sleep_until(start + duration / 10.0);
    return get_memory();
}

void record(const std::string& name, std::size_t value) {
    ::testing::Test::RecordProperty(name, std::to_string(value));
    std::cout << name << ": " << value << '\n';
}

TEST(MixedLoad, AllServicesAnswerAsIfAlone) {
    constexpr int CLIENTS = 8;
    TestServer server;
    Domain& coming = server.get_root().add_domain("coming");
    PairWriter host(server);
    Domain& fixed = server.get_root().add_domain("fixed", {.description = "Nothing changes here"});
    fixed.add_variable("value", Value(21.5), {.engineering_unit = "degC", .delta = Value(0.5)});
    fixed.add_domain("empty");
    std::vector<MixedClient> clients;
    clients.reserve(CLIENTS);
    const References references(server);
    const std::size_t files = count_idle_files();
    for (int number = 0; number < CLIENTS; ++number) {
        clients.emplace_back(server, references, number);
    }

    const auto start = steady_clock::now();
    const auto end = start + get_duration();
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
    TestThreads writers([&](const std::stop_token& stop) { host.run(stop, rounds); });
    writers.start([&](const std::stop_token& stop) { grow_and_shrink(server, coming, stop); });
    const std::size_t early_memory = get_memory_after_a_tenth(start, get_duration());
    threads.join();
    writers.stop();
    const std::size_t memory = get_memory();
    EXPECT_GE(rounds, CLIENTS);
    EXPECT_LE(100.0 * static_cast<double>(memory) / static_cast<double>(early_memory) - 100,
              get_memory_limit());

    std::this_thread::sleep_for(2 * PING_RATE);  // a poll would renew them
    std::size_t requests = 0;
    for (MixedClient& client : clients) {
        client.expect_none_left();
        requests += client.get_request_count();
    }
    clients.clear();
    EXPECT_TRUE(wait_for([&] { return count_open_files() <= files; }));
    record("requests", requests);
    record("KiB after a tenth", early_memory);
    record("KiB at the end", memory);
    record("open files before", files);
    record("open files afterwards", count_open_files());
}

}  // namespace
}  // namespace kx::information_model::opc::testing
