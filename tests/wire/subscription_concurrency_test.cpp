#include "PairWriter.h"
#include "subscription_requests.h"
#include "support/StderrCapture.h"
#include "support/TestServer.h"
#include "support/TestThreads.h"
#include "support/replies.h"

#include <information_model/TimePoint.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <sstream>
#include <stop_token>

namespace kx::information_model::opc::testing {
namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;
using std::chrono::system_clock;

constexpr int CLIENTS = 8;

Reply call(HttpClient& client, const std::string& request) {
    return client.post(create_request(request));
}

/// The number in a poll's reply, after checking that the whole reply reports either both variables with this
/// number or none of them.
std::optional<int> get_reported_number(const Reply& reply) {
    const std::string digits = get_digits_after(reply, "<Value xsi:type=\"xsd:int\">");
    if (digits.empty()) {
        expect_success(reply, create_poll_response(""));
        return std::nullopt;
    }
    const int number = std::stoi(digits);
    expect_success(reply, create_poll_response(create_pair(number)));
    return number;
}

/// Polls until it has seen `changes` changes; each poll must have reported whatever was written before it.
void follow(TestServer& server, const PairWriter& host, const std::string& handle, int changes,
            std::atomic<int>& polls) {
    HttpClient client(server.get_port());
    int last = -1;
    for (int seen = 0; seen < changes && !::testing::Test::HasFailure();) {
        const int written_before = host.get_written();
        const std::optional<int> number = get_reported_number(call(client, create_poll(handle)));
        ++polls;
        if (number) {
            EXPECT_GT(*number, last) << "reported twice";
            last = *number;
            ++seen;
        }
        EXPECT_GE(last, written_before) << "lost";
    }
}

TEST(SubscriptionConcurrency, EightClientsMissNoChangeAndSeeNoneTorn) {
    TestServer server;
    PairWriter host(server);
    std::atomic<int> polls{0};
    TestThreads clients;
    for (int number = 0; number < CLIENTS; ++number) {
        clients.start(
            [&] { follow(server, host, get_handle(server.call(create_subscribe(PAIR))), 100, polls); });
    }
    TestThreads writer([&](const std::stop_token& stop) { host.run(stop, polls); });
    clients.join();
    writer.stop();
    EXPECT_GE(host.get_written(), 99);
}

// No lock orders the two clients' polls: a change may be reported to one of them or to both, never to none.
TEST(SubscriptionConcurrency, TwoClientsPollOneSubscription) {
    TestServer server;
    PairWriter host(server);
    const std::string handle = get_handle(server.call(create_subscribe(PAIR)));
    std::set<int> reported;
    std::mutex reported_mutex;
    std::array<std::atomic<int>, 2> polls{};
    TestThreads clients;
    for (std::atomic<int>& own_polls : polls) {
        clients.start([&](const std::stop_token& stop) {
            HttpClient client(server.get_port());
            for (int last = -1; !stop.stop_requested(); ++own_polls) {
                if (const auto number = get_reported_number(call(client, create_poll(handle)))) {
                    EXPECT_GT(*number, last) << "reported twice";
                    last = *number;
                    const std::lock_guard lock(reported_mutex);
                    reported.insert(*number);
                }
            }
        });
    }
    for (int change = 0; change < 200; ++change) {
        host.write();
        // Each client's second reply from now on is that of a poll that began after the write.
        const std::array<int, 2> then = {polls[0], polls[1]};
        ASSERT_TRUE(wait_for([&] { return polls[0] >= then[0] + 2 && polls[1] >= then[1] + 2; }));
        const std::lock_guard lock(reported_mutex);
        EXPECT_EQ(reported.count(host.get_written()), 1U) << host.get_written();
    }
    clients.stop();
}

TEST(SubscriptionConcurrency, EightThreadsSubscribeAtOnce) {
    constexpr int EACH = 50;
    TestServer server;
    for (int number = 0; number < CLIENTS; ++number) {
        server.get_root().add_variable("v" + std::to_string(number), Value(number));
    }
    std::mutex mutex;
    std::map<std::string, std::set<int>> clients_by_handle;
    TestThreads clients;
    for (int number = 0; number < CLIENTS; ++number) {
        clients.start([&, number] {
            HttpClient client(server.get_port());
            const std::string item = "<Items ItemName=\"/v" + std::to_string(number) + "\"/>";
            for (int count = 0; count < EACH; ++count) {
                const std::string handle = get_handle(call(client, create_subscribe(item)));
                const std::lock_guard lock(mutex);
                clients_by_handle[handle].insert(number);
            }
        });
    }
    clients.join();

    // Subscriptions made in the same nanosecond share a handle, and one of them is there under it.
    for (const auto& [handle, numbers] : clients_by_handle) {
        const Reply reply = server.call(create_poll(handle));
        std::set<std::string> possible;
        for (const int number : numbers) {
            possible.insert(create_reply(create_poll_response(
                "<Items ItemName=\"/v" + std::to_string(number) + "\"><Value xsi:type=\"xsd:int\">" +
                std::to_string(number) + "</Value></Items>")));
        }
        EXPECT_EQ(possible.count(mask_times(reply.body)), 1U) << reply.body;
    }
}

TEST(SubscriptionConcurrency, CancelsDuringPolls) {
    TestServer server;
    server.get_root().add_variable("count", Value(7));
    const std::string item = R"(<Items ItemName="/count"/>)";
    const std::string reported = R"(<Items ItemName="/count"><Value xsi:type="xsd:int">7</Value></Items>)";
    for (int round = 0; round < 100; ++round) {
        const std::string handle = get_handle(server.call(create_subscribe(item)));
        const std::set<std::string> possible = {
            create_reply(create_poll_response(reported)),  // several, when polls overlap
            create_reply(create_poll_response("")),
            create_reply(create_poll_response("", create_invalid(handle))),
        };
        TestThreads threads;
        for (int number = 0; number < 3; ++number) {
            threads.start([&] {
                const Reply reply = server.call(create_poll(handle));
                EXPECT_EQ(reply.status, 200);
                EXPECT_EQ(possible.count(mask_times(reply.body)), 1U) << reply.body;
            });
        }
        threads.start([&] {
            expect_success(server.call(create_cancel(handle)),
                           R"(<SubscriptionCancelResponse ClientRequestHandle=""/>)");
        });
        threads.join();
        expect_success(server.call(create_poll(handle)), create_poll_response("", create_invalid(handle)));
    }
}

TEST(SubscriptionConcurrency, CancelDuringHoldTimes) {
    TestServer server;
    server.get_root().add_variable("count", Value(7));
    TestThreads clients;
    for (int number = 0; number < 4; ++number) {
        clients.start([&] {
            const std::string handle =
                get_handle(server.call(create_subscribe(R"(<Items ItemName="/count"/>)")));
            HttpClient poller(server.get_port());
            const TimePoint hold_time = system_clock::now() + 1s;
            const std::string body =
                create_request(create_poll(handle, " HoldTime=\"" + to_iso8601_string(hold_time) + "\""));
            poller.send("POST / HTTP/1.1\r\nHost: localhost\r\nContent-Length: " +
                        std::to_string(body.size()) + "\r\n\r\n" + body);
            expect_success(server.call(create_cancel(handle)),
                           R"(<SubscriptionCancelResponse ClientRequestHandle=""/>)");
            if (system_clock::now() < hold_time) {
                expect_success(poller.receive(), create_poll_response("", create_invalid(handle)));
            } else {
                poller.receive();  // the machine stood still: either answer may have come first
            }
        });
    }
    clients.join();
}

// A variable that comes and goes: each reply either has it or leaves a line, and the neighbour stays.
TEST(SubscriptionConcurrency, HostRemovesAndAddsWhileClientsPoll) {
    TestServer server;
    server.get_root().add_domain("stays");
    StderrCapture capture;
    const std::string items = R"(<Items ItemName="/comes"/><Items ItemName="/stays"/>)";
    const std::string stays = R"(<Items ItemName="/stays"/>)";
    const std::string comes = R"(<Items ItemName="/comes"><Value xsi:type="xsd:boolean">1</Value></Items>)";
    const std::set<std::string> possible = {create_reply(create_poll_response(stays)),
                                            create_reply(create_poll_response(comes + stays))};
    std::atomic<int> polls{0};
    TestThreads clients;
    for (int number = 0; number < 4; ++number) {
        clients.start([&](const std::stop_token& stop) {
            HttpClient client(server.get_port());
            const std::string handle = get_handle(call(client, create_subscribe(items)));
            while (!stop.stop_requested()) {
                const Reply reply = call(client, create_poll(handle));
                EXPECT_EQ(possible.count(mask_times(reply.body)), 1U) << reply.body;
                ++polls;
            }
        });
    }
    for (int round = 0; round < 200; ++round) {
        const int seen = polls;
        {
            const std::unique_lock lock(server.get_tree());
            if (round % 2 == 0) {
                server.get_root().add_variable("comes", Value(true));
            } else {
                server.get_root().remove("comes");
            }
        }
        ASSERT_TRUE(wait_for([&] { return polls >= seen + 4; }));
    }
    clients.stop();

    std::istringstream lines(capture.stop());
    const std::set<std::string> expected = {"error not found:/comes",
                                            "error not found Path not found: /comes"};
    int count = 0;
    for (std::string line; std::getline(lines, line); ++count) {
        EXPECT_EQ(expected.count(line), 1U) << line;
    }
    EXPECT_GT(count, 0);
}

}  // namespace
}  // namespace kx::information_model::opc::testing
