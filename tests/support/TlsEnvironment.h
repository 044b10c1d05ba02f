#pragma once

#include <Poco/Net/NetSSL.h>

#include <gtest/gtest.h>

namespace kx::information_model::opc::testing {

/// Runs the TLS library as the client side needs it.
class TlsEnvironment : public ::testing::Environment {
public:
    void SetUp() override { Poco::Net::initializeSSL(); }
    void TearDown() override { Poco::Net::uninitializeSSL(); }
};

}  // namespace kx::information_model::opc::testing
