#include "hardening/allocation_failure.h"
#include "support/HttpClient.h"
#include "support/TlsEnvironment.h"
#include "support/TlsFiles.h"
#include "support/replies.h"

#include <information_model/InformationModel.h>
#include <opc/Server.h>

#include <Poco/Net/Context.h>
#include <Poco/Net/SecureStreamSocket.h>
#include <Poco/Net/SocketAddress.h>

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <tuple>

// Stands in front of the C library's own. The thread that accepts has memory: what POCO 1.11 does there
// without any cannot be mended from outside.
extern "C" [[gnu::visibility("default")]] int accept4(int socket, sockaddr* address, socklen_t* size,
                                                      int flags) {
    using Function = int(int, sockaddr*, socklen_t*, int);
    static auto* const next = reinterpret_cast<Function*>(dlsym(RTLD_NEXT, "accept4"));
    static thread_local const kx::information_model::opc::testing::AllocationExemption exemption;
    return next(socket, address, size, flags);
}

namespace kx::information_model::opc::testing {
namespace {

const ::testing::Environment* const ENVIRONMENT = ::testing::AddGlobalTestEnvironment(new TlsEnvironment);

const Poco::Timespan PATIENCE(30, 0);
const Poco::Timespan IMPATIENCE(0, 200000);

/// How many handshakes in a row OpenSSL 3.0 can spoil: if memory runs out while it squares the two numbers
/// that blind an RSA key, they no longer belong together until it makes new ones, which it does every 32
/// times.
constexpr int BAD_SIGNATURES = 32;

enum class TRANSPORT { PLAIN, TLS };

/// Memory runs out anywhere in the worker, between the connection of a client and its reply.
class WorkerShortage : public ::testing::TestWithParam<std::tuple<TRANSPORT, SHORTAGE>> {
protected:
    std::unique_ptr<Server> create_server() const {
        return is_tls_ ? std::make_unique<Server>("127.0.0.1", files_.get_certificate(),
                                                  files_.get_private_key(), model_)
                       : std::make_unique<Server>("127.0.0.1", model_);
    }

    Poco::Net::StreamSocket create_socket() const {
        if (!is_tls_) {
            return {};
        }
        const Poco::Net::Context::Ptr context =
            new Poco::Net::Context(Poco::Net::Context::TLS_CLIENT_USE, "", "", files_.get_certificate(),
                                   Poco::Net::Context::VERIFY_STRICT, 9, false, "ALL");
        Poco::Net::SecureStreamSocket socket(context);
        socket.setPeerHostName("127.0.0.1");
        socket.setLazyHandshake(true);  // with the first byte that is sent, when the time-outs are set
        return socket;                  // NOLINT(cppcoreguidelines-slicing)
    }

    /// What a client of its own gets; nothing if it gets no reply in time.
    std::optional<Reply> get_status(const Poco::Timespan& patience) const {
        try {
            Poco::Net::StreamSocket socket = create_socket();
            socket.connect(Poco::Net::SocketAddress("127.0.0.1", port_), PATIENCE);
            HttpClient client(socket);
            socket.setReceiveTimeout(patience);
            socket.setSendTimeout(patience);
            return client.post(create_request("<GetStatus/>"));
        } catch (const std::exception&) {
            return std::nullopt;
        }
    }

    /// Time for the worker to put away its connection, while memory is short.
    static void wait_for_worker() { std::this_thread::sleep_for(std::chrono::milliseconds(1)); }

    void expect_served() {
        std::unique_lock<Tree> lock(model_->get_information_tree(), std::try_to_lock);
        EXPECT_TRUE(lock.owns_lock());
        lock = {};
        std::optional<Reply> reply;
        for (int attempts = is_tls_ ? BAD_SIGNATURES + 1 : 1; !reply && attempts > 0; --attempts) {
            reply = get_status(PATIENCE);
        }
        ASSERT_TRUE(reply.has_value());
        EXPECT_EQ(reply->status, 200);
    }

    const bool is_tls_ = std::get<TRANSPORT>(GetParam()) == TRANSPORT::TLS;
    const SHORTAGE shortage_ = std::get<SHORTAGE>(GetParam());
    const AllocationExemption exemption_;  // of the test's own thread
    const TlsFiles files_;
    const std::shared_ptr<InformationModel> model_ = std::make_shared<InformationModel>("plant");
    const std::unique_ptr<Server> server_ = create_server();
    const unsigned short port_ = server_->start();
};

TEST_P(WorkerShortage, KeepsNobodyElseFromBeingServed) {
    // A handshake allocates some two thousand times, and each takes a handshake to try.
    const std::size_t stride = is_tls_ ? 5 : 1;
    ASSERT_NO_FATAL_FAILURE(expect_served());
    bool is_complete = false;  // a request, and nothing failed
    for (std::size_t successes = 0; !is_complete;) {
        SCOPED_TRACE(successes);
        std::optional<Reply> reply;
        bool has_failed = false;
        {
            const AllocationFailure failure(successes, shortage_);
            reply = get_status(IMPATIENCE);
            wait_for_worker();
            has_failed = failure.has_happened();
        }
        if (reply && reply->status != 200) {
            expect_bad_request(*reply);
        }
        ASSERT_NO_FATAL_FAILURE(expect_served());
        is_complete = reply && !has_failed;
        successes += has_failed ? stride : 0;  // otherwise the client was too impatient
    }
}

class ShortageInARow : public WorkerShortage {};

// A worker that ends for want of memory as it begins with a connection, and that more often than there are
// workers, while no connection is served.
TEST_P(ShortageInARow, CostsNoWorker) {
    const Poco::Timespan no_patience(0, 5000);
    ASSERT_NO_FATAL_FAILURE(expect_served());
    for (std::size_t successes = 0; successes < 20; ++successes) {
        SCOPED_TRACE(successes);
        for (int connection = 0; connection < 20; ++connection) {
            const AllocationFailure failure(successes, shortage_);
            get_status(no_patience);
            wait_for_worker();
        }
        ASSERT_NO_FATAL_FAILURE(expect_served());
    }
}

std::string get_name(const ::testing::TestParamInfo<std::tuple<TRANSPORT, SHORTAGE>>& test) {
    const bool is_tls = std::get<TRANSPORT>(test.param) == TRANSPORT::TLS;
    const bool is_once = std::get<SHORTAGE>(test.param) == SHORTAGE::ONCE;
    return std::string(is_tls ? "Tls" : "Plain") + (is_once ? "Once" : "Lasting");
}

INSTANTIATE_TEST_SUITE_P(Connection, WorkerShortage,
                         ::testing::Combine(::testing::Values(TRANSPORT::PLAIN, TRANSPORT::TLS),
                                            ::testing::Values(SHORTAGE::ONCE, SHORTAGE::LASTING)),
                         get_name);

INSTANTIATE_TEST_SUITE_P(Connection, ShortageInARow,
                         ::testing::Combine(::testing::Values(TRANSPORT::PLAIN),
                                            ::testing::Values(SHORTAGE::ONCE, SHORTAGE::LASTING)),
                         get_name);

}  // namespace
}  // namespace kx::information_model::opc::testing
