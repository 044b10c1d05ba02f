#include <opc/Server.h>

#include "support/TlsFiles.h"

#include <information_model/InformationModel.h>

#include <Poco/ThreadPool.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <limits>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>

namespace kx::information_model::opc {
namespace {

std::string describe_failure_of(const std::function<void()>& action) {
    try {
        action();
    } catch (const std::exception& exception) {
        return describe(exception);
    }
    return "nothing failed";
}

const std::shared_ptr<InformationModel> MODEL = std::make_shared<InformationModel>("plant");

TEST(Describe, PortInUse) {
    const Server taken("127.0.0.1", MODEL);
    const unsigned short port = taken.get_port();
    const std::string expected = "port " + std::to_string(port) + " is in use";
    EXPECT_EQ(describe_failure_of([&] { Server("127.0.0.1", port, MODEL); }), expected);
    EXPECT_EQ(describe_failure_of([&] { Server("localhost", port, MODEL); }), expected);
}

TEST(Describe, AddressOfAnotherMachine) {
    EXPECT_EQ(describe_failure_of([] { Server("192.0.2.1", MODEL); }),
              "192.0.2.1 is not an address of this machine");
}

TEST(Describe, UnknownHost) {
    const std::string host = std::string(64, 'x') + ".invalid";  // too long to ask anybody for it
    EXPECT_EQ(describe_failure_of([&] { Server(host, MODEL); }), "the host '" + host + "' is not known");
}

TEST(Describe, TlsFilesThatCannotBeUsed) {
    const testing::TlsFiles files;
    const testing::TlsFiles others;
    const std::string missing = files.get_path("missing.pem");
    EXPECT_EQ(describe_failure_of([&] { Server("127.0.0.1", missing, files.get_private_key(), MODEL); }),
              "'" + missing + "' is not a certificate that can be read (PEM)");
    EXPECT_EQ(describe_failure_of([&] { Server("127.0.0.1", files.get_certificate(), missing, MODEL); }),
              "'" + missing + "' is not a private key that can be read (PEM, without a pass phrase)");
    EXPECT_EQ(describe_failure_of(
                  [&] { Server("127.0.0.1", files.get_certificate(), others.get_private_key(), MODEL); }),
              "the private key '" + others.get_private_key() + "' does not belong to the certificate");
    const std::string odd = files.get_path("key: of others.pem");  // such a mark ends names in other texts
    std::filesystem::copy_file(others.get_private_key(), odd);
    EXPECT_EQ(describe_failure_of([&] { Server("127.0.0.1", files.get_certificate(), odd, MODEL); }),
              "the private key '" + odd + "' does not belong to the certificate");
}

TEST(Describe, NoModel) {
    EXPECT_EQ(describe_failure_of([] { Server("127.0.0.1", nullptr); }), "A server needs a model.");
}

TEST(Describe, AnythingElseInOneLine) {
    EXPECT_EQ(describe(std::runtime_error("one\nand\r\nanother")), "one and  another");
    EXPECT_EQ(describe(std::bad_alloc()), std::bad_alloc().what());
}

TEST(WorkerThreads, AreAddedAndTakenAway) {
    const int before = Poco::ThreadPool::defaultPool().capacity();
    add_worker_threads(3);
    EXPECT_EQ(Poco::ThreadPool::defaultPool().capacity(), before + 3);
    add_worker_threads(-3);
    EXPECT_EQ(Poco::ThreadPool::defaultPool().capacity(), before);
    EXPECT_THROW(add_worker_threads(1 - before), std::invalid_argument);
    EXPECT_THROW(add_worker_threads(std::numeric_limits<int>::min()), std::invalid_argument);
    EXPECT_EQ(Poco::ThreadPool::defaultPool().capacity(), before);
}

}  // namespace
}  // namespace kx::information_model::opc
