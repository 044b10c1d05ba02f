#include "examples/Plant.h"
#include "support/TlsFiles.h"
#include "support/replies.h"
#include "support/tls_client.h"
#include "support/wait_for.h"

#include <gtest/gtest.h>
#include <sys/ioctl.h>

#include <chrono>
#include <csignal>
#include <cstddef>
#include <functional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

/// The examples end within two seconds of SIGTERM, whatever their clients do. If they did nothing for it,
/// these clients would hold them for a minute, or centuries.
namespace kx::information_model::opc::testing {
namespace {

using std::chrono::steady_clock;

const std::chrono::seconds LONGEST_FAREWELL(2);
const int TRIES = 10;

/// The plant answers "100 Continue" when a worker waits for the body.
const std::string HEAD = "POST / HTTP/1.1\r\nExpect: 100-continue\r\n";

std::string create_call(const std::string& request) {
    return create_post(create_request(request), "Expect: 100-continue\r\n");
}

/// Asks for 12 MB, which fill every buffer on their way to a client that does not read.
std::string create_large_read() {
    std::string request = "<Read><ItemList>";
    for (int item = 0; item < 150'000; ++item) {
        request += "<Items ItemName=\"bulk/0/v0\"/>";
    }
    return request + "</ItemList></Read>";
}

/// What a client has sent when the plant is told to end. Nobody reads what is answered.
struct Client {
    const char* name;
    std::function<std::string()> create_bytes;
    std::size_t answer_size;  ///< what has come of an answer by then, at least

    friend std::ostream& operator<<(std::ostream& stream, const Client& client) {
        return stream << client.name;
    }
};

const std::vector<Client> CLIENTS = {
    {"HeldPoll",
     [] { return create_call(R"(<SubscriptionPolledRefresh HoldTime="2200-01-01T00:00:00Z"/>)"); }, 1},
    {"HalfABody", [] { return HEAD + "Content-Length: 1000\r\n\r\n<soap"; }, 1},
    {"HalfAChunk", [] { return HEAD + "Transfer-Encoding: chunked\r\n\r\n3e8\r\n<soap"; }, 1},
    {"HalfAHeader", [] { return "POST / HTTP/1.1\r\nContent-Le"; }, 0},
    {"ReplyNotRead", [] { return create_call(create_large_read()); }, 100'000},
    {"Idle", [] { return create_call("<GetStatus/>"); }, 100},
    {"Silent", [] { return ""; }, 0},
};

HttpClient let(HttpClient client, const Client& what) {
    client.send(what.create_bytes());
    const int socket = client.get_socket().impl()->sockfd();
    EXPECT_TRUE(wait_for([&] {
        int size = 0;
        return ioctl(socket, FIONREAD, &size) == 0 && static_cast<std::size_t>(size) >= what.answer_size;
    })) << what;
    return client;
}

/// Calls what starts a program, has clients do something and ends it. A busy machine may make that late now
/// and then; the promise is broken when it is late each time.
void expect_end_in_time(const std::function<steady_clock::duration()>& try_once) {
    std::vector<double> seconds;
    do {
        const auto time = try_once();
        if (time < LONGEST_FAREWELL) {
            return;
        }
        seconds.push_back(std::chrono::duration<double>(time).count());
    } while (seconds.size() < TRIES && !::testing::Test::HasFailure());
    ADD_FAILURE() << "late each time, in seconds: " << ::testing::PrintToString(seconds);
}

/// More workers than a test has clients.
std::vector<std::string> create_arguments() {
    return {"--bulk", "1", "--threads", "64"};
}

class Farewell : public ::testing::TestWithParam<Client> {};

TEST_P(Farewell, IsShort) {
    expect_end_in_time([] {
        Plant plant(create_arguments());
        const HttpClient client = let(HttpClient(plant.get_port()), GetParam());
        EXPECT_EQ(plant.call("<GetStatus/>").status, 200);  // accepted after the client
        return plant.expect_end();
    });
}

INSTANTIATE_TEST_SUITE_P(Of, Farewell, ::testing::ValuesIn(CLIENTS), ::testing::PrintToStringParamName());

TEST(FarewellOfAll, IsShort) {
    expect_end_in_time([] {
        Plant plant(create_arguments());
        std::vector<HttpClient> clients;
        for (const Client& client : CLIENTS) {
            clients.push_back(let(HttpClient(plant.get_port()), client));
        }
        EXPECT_EQ(plant.call("<GetStatus/>").status, 200);
        return plant.expect_end();
    });
}

// The others wait for one.
TEST(FarewellOfMoreThanThereAreWorkers, IsShort) {
    expect_end_in_time([] {
        Plant plant({"--threads", "2"});
        std::vector<HttpClient> clients;
        for (int number = 0; number < 60; ++number) {
            clients.emplace_back(plant.get_port());
            if (number < 2) {
                let(clients.back(), CLIENTS.front());
            } else {
                clients.back().send(CLIENTS.front().create_bytes());
            }
        }
        return plant.expect_end();
    });
}

TEST(FarewellOfTheMachine, IsShort) {
    expect_end_in_time([] {
        HostProcess machine({KX_MACHINE, "0"});
        const HttpClient holding = let(HttpClient(machine.get_port()), CLIENTS[0]);
        const HttpClient stalling = let(HttpClient(machine.get_port()), CLIENTS[1]);
        return machine.expect_end();
    });
}

TEST(Machine, RefusesAPortThatIsNone) {
    for (const std::string port : {"65536", "-1", "80x", ""}) {
        const Outcome outcome = ChildProcess({KX_MACHINE, port}).wait();
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.errors, "cannot serve: '" + port + "' is not a port (0 to 65535)\n");
    }
}

/// A plant with TLS, and its clients.
class TlsPlant {
public:
    HttpClient connect() const { return connect_with_tls(plant_.get_port(), files_.get_certificate()); }

    void add(HttpClient client) { clients_.push_back(std::move(client)); }

    /// Clients that begin to shake hands and leave it at that, and one that does so afterwards.
    void stall_handshakes() {
        add(connect());
        for (const std::string& bytes : {std::string(), std::string("\x16", 1),
                                         std::string("\x16\x03\x01\x02\x00\x01\x00\x01\xfc\x03\x03", 11)}) {
            clients_.emplace_back(plant_.get_port());
            clients_.back().send(bytes);
        }
    }

    steady_clock::duration end() {
        EXPECT_EQ(connect().post(create_request("<GetStatus/>")).status, 200);
        return plant_.expect_end();
    }

private:
    TlsFiles files_;
    Plant plant_{{"--bulk", "1", "--threads", "64", "--certificate", files_.get_certificate(),
                  "--private-key", files_.get_private_key()}};
    std::vector<HttpClient> clients_;
};

TEST(TlsFarewell, IsShortWhenHandshakesStall) {
    expect_end_in_time([] {
        TlsPlant plant;
        plant.stall_handshakes();
        return plant.end();
    });
}

TEST(TlsFarewell, IsShortForAll) {
    expect_end_in_time([] {
        TlsPlant plant;
        for (const Client& what : CLIENTS) {
            HttpClient client = plant.connect();
            client.post(create_request("<GetStatus/>"));  // reads what belongs to the handshake
            plant.add(let(std::move(client), what));
        }
        plant.stall_handshakes();
        return plant.end();
    });
}

}  // namespace
}  // namespace kx::information_model::opc::testing
