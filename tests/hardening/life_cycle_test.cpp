#include "support/HttpClient.h"
#include "support/TlsFiles.h"
#include "support/process_state.h"
#include "support/replies.h"
#include "support/tls_client.h"
#include "support/wait_for.h"

#include <information_model/InformationModel.h>
#include <opc/Server.h>

#include <Poco/Exception.h>
#include <Poco/Net/NetSSL.h>
#include <Poco/ThreadPool.h>

#include <gtest/gtest.h>
#include <malloc.h>

#include <chrono>
#include <cstdlib>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace kx::information_model::opc::testing {
namespace {

// Enough for all hosts that a test runs at a time.
constexpr int WORKERS = 64;
constexpr std::size_t HOSTS = 50;
constexpr std::size_t MIB = std::size_t{1} << 20U;

}  // namespace
}  // namespace kx::information_model::opc::testing

// Of the sanitizers, where there is one.
extern "C" std::size_t __sanitizer_get_current_allocated_bytes() __attribute__((weak));

namespace kx::information_model::opc::testing {
namespace {

/// What is allocated now, in bytes.
std::size_t get_allocated() {
    return __sanitizer_get_current_allocated_bytes != nullptr ? __sanitizer_get_current_allocated_bytes()
                                                              : mallinfo2().uordblks;
}

std::string create_status_request() {
    return create_request("<GetStatus/>");
}

enum class Protocol { HTTP, HTTPS };

std::ostream& operator<<(std::ostream& stream, Protocol protocol) {
    return stream << (protocol == Protocol::HTTP ? "Http" : "Https");
}

const TlsFiles& get_files() {
    static const TlsFiles files;
    return files;
}

std::unique_ptr<Server> create_server(Protocol protocol, const std::shared_ptr<InformationModel>& model,
                                      unsigned short port = 0) {
    return protocol == Protocol::HTTP
               ? std::make_unique<Server>("127.0.0.1", port, model)
               : std::make_unique<Server>("127.0.0.1", port, get_files().get_certificate(),
                                          get_files().get_private_key(), model);
}

HttpClient connect(Protocol protocol, unsigned short port) {
    return protocol == Protocol::HTTP ? HttpClient(port)
                                      : connect_with_tls(port, get_files().get_certificate());
}

void expect_served(HttpClient client) {
    EXPECT_EQ(client.post(create_status_request()).status, 200);
}

/// Asks without a pause until the server goes away.
void ask_until_the_end(Protocol protocol, unsigned short port) {
    try {
        while (true) {
            HttpClient client = connect(protocol, port);
            for (int round = 0; round < 10; ++round) {
                EXPECT_EQ(client.post(create_status_request()).status, 200);
            }
        }
    } catch (const Poco::Exception&) {  // refused or reset
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "connection closed inside a line: ") << "in the middle of an answer";
    }
}

/// The orders in which a host may call.
const std::vector<std::function<void(Server&, Protocol)>> ORDERS = {
    [](Server& /*server*/, Protocol /*protocol*/) {},
    [](Server& server, Protocol /*protocol*/) { server.start(); },
    [](Server& server, Protocol /*protocol*/) { server.stop(); },
    [](Server& server, Protocol /*protocol*/) {
        server.start();
        server.stop();
    },
    [](Server& server, Protocol /*protocol*/) {
        server.start();
        server.start();
        server.stop();
        server.stop();
    },
    [](Server& server, Protocol /*protocol*/) {
        server.stop();
        server.start();
    },
    [](Server& server, Protocol protocol) { expect_served(connect(protocol, server.start())); },
    [](Server& server, Protocol protocol) {
        const HttpClient client = connect(protocol, server.start());
        expect_served(client);
        server.stop();
        expect_served(client);
    },
};

/// Runs `host`, which is told its number, on as many threads: most of the time each waits for the end of a
/// poll.
void run_hosts(std::size_t count, const std::function<void(std::size_t)>& host) {
    std::vector<std::future<void>> hosts;
    for (std::size_t number = 0; number < count; ++number) {
        hosts.push_back(std::async(std::launch::async, host, number));
    }
    for (std::future<void>& running : hosts) {
        running.get();
    }
}

class LifeCycle : public ::testing::Test {
protected:
    // Before there is a server: it looks up the capacity when it is made.
    static void SetUpTestSuite() {
        Poco::ThreadPool& pool = Poco::ThreadPool::defaultPool();
        pool.addCapacity(WORKERS - pool.capacity());
    }

    void expect_nothing_left_behind() {
        // A worker is idle a moment after the server went; one that missed that would be ten seconds later.
        Poco::ThreadPool& pool = Poco::ThreadPool::defaultPool();
        EXPECT_TRUE(wait_for([&pool] { return pool.used() == 0; }, std::chrono::seconds(5))) << pool.used();
        pool.stopAll();  // it would keep them
        // The system counts a thread for a moment after it was joined.
        EXPECT_TRUE(wait_for([this] { return count_threads() <= threads_; })) << count_threads();
        EXPECT_EQ(count_open_files(), files_);
        EXPECT_EQ(model_.use_count(), 1);
    }

    std::shared_ptr<InformationModel> model_ = std::make_shared<InformationModel>("plant");
    const std::size_t files_ = count_open_files();
    const std::size_t threads_ = count_threads();
};

class EachLifeCycle : public LifeCycle, public ::testing::WithParamInterface<Protocol> {
protected:
    // For the clients: POCO cannot have it given back for the last time and taken again on two threads at
    // once.
    void SetUp() override { Poco::Net::initializeSSL(); }
    void TearDown() override { Poco::Net::uninitializeSSL(); }

    std::unique_ptr<Server> create_server(unsigned short port = 0) {
        return testing::create_server(GetParam(), model_, port);
    }

    static HttpClient connect(unsigned short port) { return testing::connect(GetParam(), port); }
};

TEST_P(EachLifeCycle, HundredTimesInEachOrder) {
    const auto run = [this](std::size_t rounds) {
        run_hosts(HOSTS, [this, rounds](std::size_t host) {
            for (std::size_t round = host; round < rounds; round += HOSTS) {
                ORDERS[round % ORDERS.size()](*create_server(), GetParam());
            }
        });
    };
    run(2 * HOSTS);  // what is made once for the process is made now
    expect_nothing_left_behind();
    const std::size_t memory = get_allocated();
    run(100 * ORDERS.size());
    expect_nothing_left_behind();
    EXPECT_LT(get_allocated(), memory + MIB / 4);
}

TEST_P(EachLifeCycle, UnderLoad) {
    for (int round = 0; round < 10; ++round) {
        std::unique_ptr<Server> server = create_server();
        const unsigned short port = server->start();
        std::vector<std::future<void>> clients;
        for (int client = 0; client < 4; ++client) {
            clients.push_back(std::async(std::launch::async, ask_until_the_end, GetParam(), port));
        }
        expect_served(connect(port));
        if (round % 2 == 0) {
            server->stop();
        }
        server.reset();
        for (std::future<void>& client : clients) {
            client.get();
        }
        expect_nothing_left_behind();
    }
}

// Clients that leave while the server goes: a worker between two connections must not miss the end.
TEST_P(EachLifeCycle, LeavesNoWorkerBehind) {
    run_hosts(15, [](std::size_t /*host*/) {
        for (int round = 0; round < 4; ++round) {
            const auto model = std::make_shared<InformationModel>("plant");
            {
                const std::unique_ptr<Server> server = testing::create_server(GetParam(), model);
                const unsigned short port = server->start();
                for (int client = 0; client < 5; ++client) {
                    expect_served(connect(port));
                }
            }
            EXPECT_EQ(model.use_count(), 1);
        }
    });
    expect_nothing_left_behind();
}

TEST_P(EachLifeCycle, SamePortAgainAtOnce) {
    unsigned short port = 0;
    for (int round = 0; round < 10; ++round) {
        const std::unique_ptr<Server> server = create_server(port);
        port = server->start();
        const HttpClient stays = connect(port);
        expect_served(stays);
        expect_served(connect(port));
        if (round % 2 == 0) {
            server->stop();
        }
    }
    expect_nothing_left_behind();
}

TEST_P(EachLifeCycle, DestructionWaitsForAPoll) {
    std::unique_ptr<Server> server = create_server();
    std::optional<HttpClient> client = connect(server->start());
    const auto end = std::chrono::system_clock::now() + std::chrono::seconds(1);
    const std::string body =
        create_request("<SubscriptionPolledRefresh HoldTime=\"" + to_iso8601_string(end) + "\"/>");
    client->send("POST / HTTP/1.1\r\nExpect: 100-continue\r\nContent-Length: " + std::to_string(body.size()) +
                 "\r\n\r\n");
    EXPECT_EQ(client->receive().status, 100);  // a worker has it
    client->send(body);
    server.reset();
    EXPECT_GE(std::chrono::system_clock::now(), end);
    EXPECT_EQ(client->receive().status, 200);
    client.reset();
    expect_nothing_left_behind();
}

INSTANTIATE_TEST_SUITE_P(Over, EachLifeCycle, ::testing::Values(Protocol::HTTP, Protocol::HTTPS),
                         ::testing::PrintToStringParamName());

// What one gives back of the TLS library the other goes on using.
TEST_F(LifeCycle, TwoServersGoInEitherOrder) {
    const auto try_out = [this](Protocol going_one, Protocol staying_one, bool first_goes_first) {
        std::unique_ptr<Server> going;
        std::unique_ptr<Server> staying;
        if (first_goes_first) {
            going = create_server(going_one, model_);
            staying = create_server(staying_one, model_);
        } else {
            staying = create_server(staying_one, model_);
            going = create_server(going_one, model_);
        }
        const HttpClient leaves = connect(going_one, going->start());
        const HttpClient stays = connect(staying_one, staying->start());
        expect_served(leaves);
        expect_served(stays);
        going.reset();
        expect_served(stays);
        expect_served(connect(staying_one, staying->get_port()));
    };
    for (const Protocol going : {Protocol::HTTP, Protocol::HTTPS}) {
        for (const Protocol staying : {Protocol::HTTP, Protocol::HTTPS}) {
            for (const bool first_goes_first : {true, false}) {
                SCOPED_TRACE(::testing::Message()
                             << going << " goes, " << staying << " stays, "
                             << (first_goes_first ? "first" : "second") << " goes first");
                try_out(going, staying, first_goes_first);
                expect_nothing_left_behind();
            }
        }
    }
}

TEST_F(LifeCycle, FailedConstructionsLeaveNothingBehind) {
    const TlsFiles& files = get_files();
    const TlsFiles others;
    const std::string unknown = "no.such.host.invalid.";
    const std::string no_name = std::string(64, 'x') + ".invalid";  // too long to ask anybody for it
    setenv("RES_OPTIONS", "timeout:1 attempts:1", 1);               // in case nobody answers
    const Server taken("127.0.0.1", std::make_shared<InformationModel>("other"));
    const std::vector<std::function<void()>> failures = {
        [&] { Server("127.0.0.1", taken.get_port(), model_); },
        [&] {
            Server("127.0.0.1", taken.get_port(), files.get_certificate(), files.get_private_key(), model_);
        },
        [&] { Server("", model_); },
        [&] { Server(unknown, model_); },
        [&] { Server(no_name, model_); },
        [&] { Server(no_name, files.get_certificate(), files.get_private_key(), model_); },
        [&] { Server("127.0.0.1", files.get_path("missing.pem"), files.get_private_key(), model_); },
        [&] { Server("127.0.0.1", files.get_certificate(), files.get_path("missing.pem"), model_); },
        [&] { Server("127.0.0.1", files.get_certificate(), others.get_private_key(), model_); },
    };
    const auto fail = [&](int rounds) {
        for (int round = 0; round < rounds; ++round) {
            for (const auto& failure : failures) {
                EXPECT_THROW(failure(), Poco::Exception);
            }
        }
    };
    fail(2);  // what is made once for the process is made now
    const std::size_t files_before = count_open_files();
    const std::size_t threads_before = count_threads();
    const std::size_t memory = get_allocated();
    fail(20);
    EXPECT_EQ(count_open_files(), files_before);
    EXPECT_LE(count_threads(), threads_before);
    EXPECT_LT(get_allocated(), memory + MIB);
    EXPECT_EQ(model_.use_count(), 1);
}

}  // namespace
}  // namespace kx::information_model::opc::testing
