#include "support/TlsFiles.h"
#include "xmlda_program.h"

#include <information_model/InformationModel.h>
#include <opc/Server.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace xmlda::testing {
namespace {

using kx::information_model::opc::testing::TlsFiles;
using ::testing::StartsWith;

/// A server of ours with TLS.
class Tls : public ::testing::Test {
protected:
    explicit Tls(const std::string& names = "IP:127.0.0.1")
        : certificate(names),
          server("127.0.0.1", certificate.get_certificate(), certificate.get_private_key(),
                 std::make_shared<kx::information_model::InformationModel>("plant")),
          address("127.0.0.1:" + std::to_string(server.start())) {}

    Outcome ask(std::vector<std::string> options, const std::string& scheme = "https://") const {
        options.insert(options.begin(), {"status", scheme + address});
        return run_xmlda(options);
    }

    void expect_failure(const Outcome& outcome, const std::string& message) const {
        EXPECT_EQ(outcome.output, "");
        EXPECT_EQ(outcome.errors, "xmlda: TLS with " + address + ": " + message + "\n");
        EXPECT_EQ(outcome.status, 5);
    }

    const TlsFiles certificate;
    kx::information_model::opc::Server server;
    const std::string address;
};

/// One whose certificate is for another machine.
class ForeignTls : public Tls {
protected:
    ForeignTls() : Tls("DNS:elsewhere.example") {}
};

TEST_F(Tls, TrustsTheAuthorityThatIsNamed) {
    const Outcome outcome = ask({"--ca", certificate.get_certificate()});

    EXPECT_THAT(outcome.output, StartsWith("State        running\n"));
    EXPECT_EQ(outcome.errors, "");
    EXPECT_EQ(outcome.status, 0);
}

TEST_F(Tls, TrustsNobodyElse) {
    const TlsFiles other("IP:127.0.0.1");
    const std::string message =
        "the certificate is not trusted: self-signed certificate (--ca names an authority to "
        "trust, --insecure accepts any)";
    expect_failure(ask({}), message);
    expect_failure(ask({"--ca", other.get_certificate()}), message);
}

TEST_F(Tls, TrustsAnyIfToldSo) {
    EXPECT_EQ(ask({"--insecure"}).status, 0);
}

TEST_F(Tls, IsUsedForSeveralRequests) {
    const Outcome outcome = run_xmlda({"browse", "https://" + address, "--recursive", "--insecure"});

    EXPECT_EQ(outcome.output, "https://" + address + "/\n");
    EXPECT_EQ(outcome.status, 0);
}

TEST_F(ForeignTls, ComparesTheHostsName) {
    expect_failure(ask({"--ca", certificate.get_certificate()}),
                   "the certificate is for another host (--insecure accepts any)");
    EXPECT_EQ(ask({"--insecure"}).status, 0);
}

TEST_F(Tls, IsNotToldWithPlainHttp) {
    const Outcome outcome = ask({}, "http://");

    EXPECT_EQ(outcome.output, "");
    EXPECT_THAT(outcome.status, ::testing::AnyOf(4, 10)) << outcome.errors;
}

TEST_F(Tls, FilesThatHoldNoCertificate) {
    const Outcome outcome = ask({"--ca", "/dev/null"});

    EXPECT_EQ(outcome.errors,
              "xmlda: TLS: a certificate or key file cannot be used: Cannot load CA file/directory "
              "at /dev/null\n");
    EXPECT_EQ(outcome.status, 5);
}

}  // namespace
}  // namespace xmlda::testing
