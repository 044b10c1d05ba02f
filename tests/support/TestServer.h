#pragma once

#include "support/HttpClient.h"

#include <information_model/InformationModel.h>
#include <opc/Server.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace kx::information_model::opc::testing {

/// A running server on 127.0.0.1 and a port of the system's choice, with the tree that it serves. Stops when
/// it is destroyed.
class TestServer {
public:
    /// The tree is called "plant" and empty.
    TestServer();
    TestServer(const TestServer&) = delete;
    TestServer& operator=(const TestServer&) = delete;

    InformationModel& get_model() { return *model_; }
    Domain& get_root() { return model_->get_root(); }
    Tree& get_tree() { return model_->get_information_tree(); }
    unsigned short get_port() const { return port_; }

    /// Posts `body` over a connection of its own.
    Reply post(const std::string& body) const;

    /// Posts `request` inside a SOAP envelope whose default namespace is that of OPC XML-DA.
    Reply call(const std::string& request) const;

private:
    std::shared_ptr<InformationModel> model_;
    std::unique_ptr<Server> server_;
    unsigned short port_;
};

/// A test with a running server.
class WireTest : public ::testing::Test {
protected:
    TestServer server;
};

}  // namespace kx::information_model::opc::testing
