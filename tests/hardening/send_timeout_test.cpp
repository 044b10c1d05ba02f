#include "support/HttpClient.h"
#include "support/TlsFiles.h"
#include "support/replies.h"
#include "support/server_end.h"
#include "support/tls_client.h"

#include <information_model/InformationModel.h>
#include <opc/Server.h>

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <functional>
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

/// As many clients as there are workers ask for a reply that fills every buffer on its way, and read nothing.
void ask_and_read_nothing(const std::function<HttpClient()>& connect) {
    const std::string read =
        create_post(create_request(R"(<Read><ItemList><Items ItemName="large"/></ItemList></Read>)"));
    std::vector<HttpClient> clients;
    for (int number = 0; number < WORKERS; ++number) {
        clients.push_back(connect());
        ASSERT_EQ(clients.back().post(create_request("<GetStatus/>")).status, 200);
        shorten_send_timeout(clients.back());
    }
    for (HttpClient& client : clients) {
        client.send(read);
    }
    EXPECT_EQ(connect().post(create_request("<GetStatus/>")).status, 200);
}

std::shared_ptr<InformationModel> create_model() {
    auto model = std::make_shared<InformationModel>("plant");
    model->get_root().add_variable("large", Value(std::string(std::size_t{16} << 20U, 'x')));
    return model;
}

TEST(SendTimeout, FreesTheWorkersOfClientsThatDoNotRead) {
    Server server("127.0.0.1", create_model());
    const unsigned short port = server.start();
    ask_and_read_nothing([port] { return HttpClient(port); });
}

TEST(SendTimeout, FreesTheWorkersOfTlsClientsThatDoNotRead) {
    const TlsFiles files;
    Server server("127.0.0.1", files.get_certificate(), files.get_private_key(), create_model());
    const unsigned short port = server.start();
    ask_and_read_nothing([&] { return connect_with_tls(port, files.get_certificate()); });
}

}  // namespace
}  // namespace kx::information_model::opc::testing
