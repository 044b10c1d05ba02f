#include "hardening/allocation_failure.h"
#include "support/TlsFiles.h"
#include "support/process_state.h"

#include <information_model/InformationModel.h>
#include <opc/Server.h>

#include <Poco/Net/NetSSL.h>
#include <Poco/Net/SSLManager.h>

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <thread>
#include <vector>

namespace {

std::atomic<int> tls_users = 0;

}  // namespace

// Stand in front of POCO's own, to count the servers that use the TLS library.
void Poco::Net::initializeSSL() {
    using Function = void();
    reinterpret_cast<Function*>(dlsym(RTLD_NEXT, "_ZN4Poco3Net13initializeSSLEv"))();
    ++tls_users;
}

void Poco::Net::uninitializeSSL() {
    using Function = void();
    --tls_users;
    reinterpret_cast<Function*>(dlsym(RTLD_NEXT, "_ZN4Poco3Net15uninitializeSSLEv"))();
}

// Leaves other threads time to take away what was set up before it is used.
void Poco::Net::SSLManager::initializeServer(PrivateKeyPassphraseHandlerPtr pass_phrase,
                                             InvalidCertificateHandlerPtr certificate, Context::Ptr context) {
    using Function =
        void(SSLManager*, PrivateKeyPassphraseHandlerPtr, InvalidCertificateHandlerPtr, Context::Ptr);
    const char* const name =
        "_ZN4Poco3Net10SSLManager16initializeServer"
        "ENS_9SharedPtrINS0_27PrivateKeyPassphraseHandlerENS_16ReferenceCounterENS_13ReleasePolicyIS3_EEEE"
        "NS2_INS0_25InvalidCertificateHandlerES4_NS5_IS8_EEEENS_7AutoPtrINS0_7ContextEEE";
    reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name))(this, pass_phrase, certificate, context);
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

namespace kx::information_model::opc::testing {
namespace {

/// Makes a server as often as it takes for no allocation to fail.
class ServerConstruction : public ::testing::TestWithParam<SHORTAGE> {
protected:
    template <class Create>
    void expect_nothing_left_behind(Create create) {
        create();  // what is made once for the process is made now
        const std::size_t open_files = count_open_files();
        const int users = tls_users;
        bool has_failed = true;
        for (std::size_t successes = 0; has_failed; ++successes) {
            SCOPED_TRACE(successes);
            has_failed = false;
            try {
                const AllocationFailure failure(successes, GetParam());
                create();
            } catch (const std::exception&) {
                has_failed = true;
            }
            ASSERT_EQ(count_open_files(), open_files);
            ASSERT_EQ(tls_users, users);
            ASSERT_EQ(model_.use_count(), 1);
        }
    }

    std::shared_ptr<InformationModel> model_ = std::make_shared<InformationModel>("plant");
};

TEST_P(ServerConstruction, LeavesNothingBehindWhenItFails) {
    expect_nothing_left_behind([this] { const Server server("127.0.0.1", model_); });
}

TEST_P(ServerConstruction, GivesBackTlsWhenItFails) {
    const TlsFiles files;
    expect_nothing_left_behind([&] {
        const Server server("127.0.0.1", files.get_certificate(), files.get_private_key(), model_);
        EXPECT_EQ(tls_users, 1);
    });
}

INSTANTIATE_TEST_SUITE_P(Shortage, ServerConstruction, ::testing::Values(SHORTAGE::ONCE, SHORTAGE::LASTING),
                         [](const auto& test) { return test.param == SHORTAGE::ONCE ? "Once" : "Lasting"; });

// POCO's set-up of TLS is the process's, and has no lock.
TEST(TlsServerConstruction, MayHappenOnSeveralThreadsAtOnce) {
    const TlsFiles files;
    const auto model = std::make_shared<InformationModel>("plant");
    std::vector<std::future<void>> hosts;
    for (int host = 0; host < 8; ++host) {
        hosts.push_back(std::async(std::launch::async, [&] {
            for (int round = 0; round < 20; ++round) {
                const Server server("127.0.0.1", files.get_certificate(), files.get_private_key(), model);
            }
        }));
    }
    for (std::future<void>& host : hosts) {
        EXPECT_NO_THROW(host.get());
    }
    EXPECT_EQ(tls_users, 0);
    EXPECT_EQ(model.use_count(), 1);
}

}  // namespace
}  // namespace kx::information_model::opc::testing
