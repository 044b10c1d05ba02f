#include "support/HttpClient.h"
#include "support/TestServer.h"
#include "support/replies.h"
#include "support/server_end.h"

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <memory>
#include <string>
#include <vector>

namespace kx::information_model::opc::testing {
namespace {

constexpr int WORKERS = 16;

/// Sixty seconds are long for a test.
void shorten_send_timeout(HttpClient& client) {
    const int file = find_server_end(client.get_socket().address().port());
    ASSERT_GE(file, 0);
    const timeval timeout{0, 200'000};
    ASSERT_EQ(setsockopt(file, SOL_SOCKET, SO_SNDTIMEO, &timeout, sizeof timeout), 0);
}

// As many clients as there are workers ask for a reply that fills every buffer on its way, and read nothing.
TEST(SendTimeout, FreesTheWorkersOfClientsThatDoNotRead) {
    TestServer server;
    server.get_root().add_variable("large", Value(std::string(std::size_t{16} << 20U, 'x')));
    const std::string body = create_request(R"(<Read><ItemList><Items ItemName="large"/></ItemList></Read>)");
    std::vector<std::unique_ptr<HttpClient>> clients;
    for (int number = 0; number < WORKERS; ++number) {
        clients.push_back(std::make_unique<HttpClient>(server.get_port()));
        HttpClient& client = *clients.back();
        ASSERT_EQ(client.post(create_request("<GetStatus/>")).status, 200);
        shorten_send_timeout(client);
    }
    for (const auto& client : clients) {
        client->send("POST / HTTP/1.1\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body);
    }
    EXPECT_EQ(server.call("<GetStatus/>").status, 200);
}

}  // namespace
}  // namespace kx::information_model::opc::testing
