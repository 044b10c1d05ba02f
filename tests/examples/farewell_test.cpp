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
#include <vector>

/// The examples end within two seconds of SIGTERM, whatever their clients do. On a busy machine that takes
/// longer; if they did nothing for it, these clients would hold them for a minute, or centuries.
namespace kx::information_model::opc::testing {
namespace {

using std::chrono::steady_clock;

const std::chrono::seconds LONGEST_FAREWELL(20);

/// The plant answers "100 Continue" when a worker waits for the body.
const std::string HEAD = "POST / HTTP/1.1\r\nExpect: 100-continue\r\n";

std::string create_post(const std::string& request) {
    const std::string body = create_request(request);
    return HEAD + "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
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
     [] { return create_post(R"(<SubscriptionPolledRefresh HoldTime="2200-01-01T00:00:00Z"/>)"); }, 1},
    {"HalfABody", [] { return HEAD + "Content-Length: 1000\r\n\r\n<soap"; }, 1},
    {"HalfAChunk", [] { return HEAD + "Transfer-Encoding: chunked\r\n\r\n3e8\r\n<soap"; }, 1},
    {"HalfAHeader", [] { return "POST / HTTP/1.1\r\nContent-Le"; }, 0},
    {"ReplyNotRead", [] { return create_post(create_large_read()); }, 100'000},
    {"Idle", [] { return create_post("<GetStatus/>"); }, 100},
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

void expect_end_in_time(Plant& plant) {
    plant.get_process().send_signal(SIGTERM);
    const auto start = steady_clock::now();
    const Outcome outcome = plant.get_process().wait();
    EXPECT_LT(steady_clock::now() - start, LONGEST_FAREWELL);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.errors, "");
}

/// More workers than a test has clients.
std::vector<std::string> create_arguments() {
    return {"--bulk", "1", "--threads", "64"};
}

class Farewell : public ::testing::TestWithParam<Client> {};

TEST_P(Farewell, IsShort) {
    Plant plant(create_arguments());
    const HttpClient client = let(HttpClient(plant.get_port()), GetParam());
    EXPECT_EQ(plant.call("<GetStatus/>").status, 200);  // accepted after the client
    expect_end_in_time(plant);
}

INSTANTIATE_TEST_SUITE_P(Of, Farewell, ::testing::ValuesIn(CLIENTS), ::testing::PrintToStringParamName());

TEST(FarewellOfAll, IsShort) {
    Plant plant(create_arguments());
    std::vector<HttpClient> clients;
    for (const Client& client : CLIENTS) {
        clients.push_back(let(HttpClient(plant.get_port()), client));
    }
    EXPECT_EQ(plant.call("<GetStatus/>").status, 200);
    expect_end_in_time(plant);
}

// The others wait for one.
TEST(FarewellOfMoreThanThereAreWorkers, IsShort) {
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
    expect_end_in_time(plant);
}

TEST(FarewellOfTheMachine, IsShort) {
    ChildProcess machine({KX_MACHINE, "0"});
    const std::string line = machine.read_line().value_or("");
    const auto port = static_cast<unsigned short>(std::stoul("0" + line.substr(line.rfind(':') + 1)));
    const HttpClient holding = let(HttpClient(port), CLIENTS[0]);
    const HttpClient stalling = let(HttpClient(port), CLIENTS[1]);
    machine.send_signal(SIGTERM);
    const auto start = steady_clock::now();
    const Outcome outcome = machine.wait();
    EXPECT_LT(steady_clock::now() - start, LONGEST_FAREWELL);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.errors, "");
}

TEST(Machine, RefusesAPortThatIsNone) {
    for (const std::string port : {"65536", "-1", "80x", ""}) {
        const Outcome outcome = ChildProcess({KX_MACHINE, port}).wait();
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.errors, "cannot serve: '" + port + "' is not a port (0 to 65535)\n");
    }
}

class TlsFarewell : public ::testing::Test {
protected:
    HttpClient connect() const { return connect_with_tls(plant_.get_port(), files_.get_certificate()); }

    /// Clients that begin to shake hands and leave it at that, and one that does so afterwards.
    void stall_handshakes() {
        clients_.push_back(connect());
        for (const std::string& bytes : {std::string(), std::string("\x16", 1),
                                         std::string("\x16\x03\x01\x02\x00\x01\x00\x01\xfc\x03\x03", 11)}) {
            clients_.emplace_back(plant_.get_port());
            clients_.back().send(bytes);
        }
    }

    void TearDown() override {
        EXPECT_EQ(connect().post(create_request("<GetStatus/>")).status, 200);
        expect_end_in_time(plant_);
    }

    TlsFiles files_;
    Plant plant_{{"--bulk", "1", "--threads", "64", "--certificate", files_.get_certificate(),
                  "--private-key", files_.get_private_key()}};
    std::vector<HttpClient> clients_;
};

TEST_F(TlsFarewell, IsShortWhenHandshakesStall) {
    stall_handshakes();
}

TEST_F(TlsFarewell, IsShortForAll) {
    for (const Client& client : CLIENTS) {
        clients_.push_back(connect());
        clients_.back().post(create_request("<GetStatus/>"));  // reads what belongs to the handshake
        let(clients_.back(), client);
    }
    stall_handshakes();
}

}  // namespace
}  // namespace kx::information_model::opc::testing
