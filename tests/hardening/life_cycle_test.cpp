#include "support/HttpClient.h"
#include "support/TlsFiles.h"
#include "support/replies.h"

#include <information_model/InformationModel.h>
#include <opc/Server.h>

#include <Poco/Exception.h>

#include <gtest/gtest.h>
#include <malloc.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace kx::information_model::opc::testing {
namespace {

// Of POCO's default pool, which keeps them.
constexpr std::size_t WORKERS = 16;
constexpr std::size_t MIB = std::size_t{1} << 20U;

std::size_t count_files() {
    const std::filesystem::directory_iterator files("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(files), end(files)));
}

std::size_t read_own_status(const std::string& name) {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with(name)) {
            return std::stoul(line.substr(name.size()));
        }
    }
    throw std::runtime_error("no such line: " + name);
}

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

/// Asks without a pause until the server goes away. @return how many answers came
int ask_until_the_end(unsigned short port) {
    int answers = 0;
    try {
        while (true) {
            HttpClient client(port);
            for (int round = 0; round < 10; ++round) {
                EXPECT_EQ(client.post(create_status_request()).status, 200);
                ++answers;
            }
        }
    } catch (const std::exception&) {  // closed or refused
    }
    return answers;
}

/// The orders in which a host may call.
const std::vector<std::function<void(Server&)>> ORDERS = {
    [](Server& /*server*/) {},
    [](Server& server) { server.start(); },
    [](Server& server) { server.stop(); },
    [](Server& server) {
        server.start();
        server.stop();
    },
    [](Server& server) {
        server.start();
        server.start();
        server.stop();
        server.stop();
    },
    [](Server& server) {
        server.stop();
        server.start();
    },
    [](Server& server) { EXPECT_EQ(HttpClient(server.start()).post(create_status_request()).status, 200); },
    [](Server& server) {
        HttpClient client(server.start());
        EXPECT_EQ(client.post(create_status_request()).status, 200);
        server.stop();
        EXPECT_EQ(client.post(create_status_request()).status, 200);
    },
};

class LifeCycle : public ::testing::Test {
protected:
    std::shared_ptr<InformationModel> model_ = std::make_shared<InformationModel>("plant");
    const std::size_t files_ = count_files();
    const std::size_t threads_ = read_own_status("Threads:");

    void expect_nothing_left_behind() {
        EXPECT_EQ(count_files(), files_);
        EXPECT_LE(read_own_status("Threads:"), threads_ + WORKERS);
        EXPECT_EQ(model_.use_count(), 1);
    }
};

// On four threads, each with servers of its own: most of the time they wait for the end of a poll.
TEST_F(LifeCycle, HundredTimesInEachOrder) {
    const auto run = [this](std::size_t rounds) {
        std::vector<std::future<void>> hosts;
        for (std::size_t host = 0; host < 4; ++host) {
            hosts.push_back(std::async(std::launch::async, [this, host, rounds] {
                for (std::size_t round = host; round < rounds; round += 4) {
                    Server server("127.0.0.1", model_);
                    ORDERS[round % ORDERS.size()](server);
                }
            }));
        }
        for (std::future<void>& host : hosts) {
            host.get();
        }
    };
    run(16);  // what is made once for the process is made now
    expect_nothing_left_behind();
    const std::size_t memory = get_allocated();
    run(100);
    expect_nothing_left_behind();
    EXPECT_LT(get_allocated(), memory + MIB);
}

TEST_F(LifeCycle, WithTlsInEachOrder) {
    const TlsFiles files;
    for (const auto& order : ORDERS) {
        Server server("127.0.0.1", files.get_certificate(), files.get_private_key(), model_);
        try {
            order(server);
        } catch (const std::exception&) {  // no handshake, no answer
        }
    }
    expect_nothing_left_behind();
}

TEST_F(LifeCycle, UnderLoad) {
    for (int round = 0; round < 10; ++round) {
        auto server = std::make_unique<Server>("127.0.0.1", model_);
        const unsigned short port = server->start();
        std::vector<std::future<int>> clients;
        for (int client = 0; client < 4; ++client) {
            clients.push_back(std::async(std::launch::async, ask_until_the_end, port));
        }
        EXPECT_EQ(HttpClient(port).post(create_status_request()).status, 200);
        if (round % 2 == 0) {
            server->stop();
        }
        server.reset();
        for (std::future<int>& client : clients) {
            client.get();
        }
        expect_nothing_left_behind();
    }
}

// Clients that leave while the server goes: a worker between two connections must not miss the end.
TEST_F(LifeCycle, LeavesNoWorkerBehind) {
    std::vector<std::future<void>> hosts;
    for (int host = 0; host < 4; ++host) {
        hosts.push_back(std::async(std::launch::async, [] {
            for (int round = 0; round < 15; ++round) {
                const auto model = std::make_shared<InformationModel>("plant");
                {
                    Server server("127.0.0.1", model);
                    const unsigned short port = server.start();
                    for (int client = 0; client < 5; ++client) {
                        EXPECT_EQ(HttpClient(port).post(create_status_request()).status, 200);
                    }
                }
                EXPECT_EQ(model.use_count(), 1);
            }
        }));
    }
    for (std::future<void>& host : hosts) {
        host.get();
    }
}

TEST_F(LifeCycle, SamePortAgainAtOnce) {
    unsigned short port = 0;
    for (int round = 0; round < 10; ++round) {
        Server server("127.0.0.1", port, model_);
        port = server.start();
        HttpClient stays(port);
        EXPECT_EQ(stays.post(create_status_request()).status, 200);
        EXPECT_EQ(HttpClient(port).post(create_status_request()).status, 200);
        if (round % 2 == 0) {
            server.stop();
        }
    }
}

TEST_F(LifeCycle, TwoServersGoInEitherOrder) {
    for (const bool first_goes_first : {true, false}) {
        auto first = std::make_unique<Server>("127.0.0.1", model_);
        auto second = std::make_unique<Server>("127.0.0.1", model_);
        first->start();
        second->start();
        auto& going = first_goes_first ? first : second;
        auto& staying = first_goes_first ? second : first;
        HttpClient client(staying->get_port());
        EXPECT_EQ(client.post(create_status_request()).status, 200);
        going.reset();
        EXPECT_EQ(client.post(create_status_request()).status, 200);
        EXPECT_EQ(HttpClient(staying->get_port()).post(create_status_request()).status, 200);
    }
    expect_nothing_left_behind();
}

TEST_F(LifeCycle, DestructionWaitsForAPoll) {
    auto server = std::make_unique<Server>("127.0.0.1", model_);
    auto client = std::make_unique<HttpClient>(server->start());
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

TEST_F(LifeCycle, FailedConstructionsLeaveNothingBehind) {
    const TlsFiles files;
    const TlsFiles others;
    const Server taken("127.0.0.1", std::make_shared<InformationModel>("other"));
    const std::vector<std::function<void()>> failures = {
        [&] { Server("127.0.0.1", taken.get_port(), model_); },
        [&] {
            Server("127.0.0.1", taken.get_port(), files.get_certificate(), files.get_private_key(), model_);
        },
        [&] { Server("", model_); },
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
    const std::size_t files_before = count_files();
    const std::size_t threads_before = read_own_status("Threads:");
    const std::size_t memory = get_allocated();
    fail(20);
    EXPECT_EQ(count_files(), files_before);
    EXPECT_LE(read_own_status("Threads:"), threads_before);
    EXPECT_LT(get_allocated(), memory + MIB);
    EXPECT_EQ(model_.use_count(), 1);
}

}  // namespace
}  // namespace kx::information_model::opc::testing
