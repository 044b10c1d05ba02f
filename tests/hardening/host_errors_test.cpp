#include "hardening/HardeningHost.h"
#include "support/HttpClient.h"
#include "support/StderrCapture.h"
#include "support/TestServer.h"
#include "support/replies.h"

#include <information_model/Registration.h>
#include <information_model/Variable.h>
#include <information_model/exceptions.h>

#include <gtest/gtest.h>

#include <memory>
#include <mutex>
#include <optional>
#include <shared_mutex>
#include <stdexcept>
#include <string>
#include <vector>

namespace kx::information_model::opc::testing {
namespace {

std::string create_write(const std::string& value) {
    return R"(<Write ReturnValuesOnReply="true"><ItemList><Items ItemName="v">)"
           R"(<Value xsi:type="xsd:int">)" +
           value + "</Value></Items></ItemList></Write>";
}

std::string create_read(const std::string& names) {
    return "<Read><ItemList>" + names + "</ItemList></Read>";
}

/// A variable "v" that clients write, and what the host does when they do.
class HostErrors : public WireTest {
protected:
    HostErrors() : variable_(server.get_root().add_variable("v", Value(1), {.writable = true})) {}

    /// Writes over the wire; the client gets its answer whatever the host does.
    void expect_written(const std::string& value) {
        const Reply reply = server.call(create_write(value));
        EXPECT_EQ(reply.status, 200);
        EXPECT_NE(reply.body.find(">" + value + "</Value>"), std::string::npos) << reply.body;
    }

    void TearDown() override {
        EXPECT_EQ(server.call("<GetStatus/>").status, 200);
        const std::unique_lock<Tree> lock(server.get_tree(), std::try_to_lock);
        EXPECT_TRUE(lock.owns_lock());
    }

    Variable& variable_;
};

TEST_F(HostErrors, ObserverThatThrows) {
    StderrCapture errors;
    const auto throws = variable_.on_write(
        [](const Path& /*path*/, const Value& /*value*/) { throw std::runtime_error("of the host"); });
    const auto throws_anything =
        variable_.on_write([](const Path& /*path*/, const Value& /*value*/) { throw 42; });
    int calls = 0;
    const auto counts = variable_.on_write([&](const Path& /*path*/, const Value& /*value*/) { ++calls; });
    expect_written("2");
    expect_written("3");
    EXPECT_EQ(calls, 2);
    EXPECT_NE(errors.stop().find("of the host"), std::string::npos);
}

TEST_F(HostErrors, ObserverThatLocksAndWrites) {
    Variable& other = server.get_root().add_variable("other", Value(0));
    const auto registration = variable_.on_change([&](const Path& /*path*/, const Value& value) {
        {
            const std::shared_lock<const Tree> lock(server.get_tree());
            EXPECT_EQ(variable_.get_value(), value);
        }
        const std::unique_lock<Tree> lock(server.get_tree());
        other = value;
        variable_ = Value(7);  // tells it again, once
    });
    expect_written("5");
    const std::shared_lock<const Tree> lock(server.get_tree());
    EXPECT_EQ(variable_.get_value(), Value(7));
    EXPECT_EQ(other.get_value(), Value(7));
}

TEST_F(HostErrors, ObserverThatRemovesItsVariable) {
    const StderrCapture diagnostics;  // the item is not found any more
    auto registration =
        std::make_unique<Registration>(variable_.on_write([&](const Path& /*path*/, const Value& /*value*/) {
            const std::unique_lock<Tree> lock(server.get_tree());
            server.get_root().remove("v");
        }));
    expect_written("2");
    EXPECT_EQ(server.call(create_read(R"(<Items ItemName="v"/>)")).body.find("/v"), std::string::npos);
    EXPECT_EQ(server.call(create_write("3")).status, 200);
}

TEST_F(HostErrors, ObserverThatEndsItsRegistration) {
    std::optional<Registration> registration;
    int calls = 0;
    registration.emplace(variable_.on_write([&](const Path& /*path*/, const Value& /*value*/) {
        ++calls;
        registration.reset();
    }));
    expect_written("2");
    expect_written("3");
    EXPECT_EQ(calls, 1);
}

TEST_F(HostErrors, ObserverThatStopsAsServerOfItsOwn) {
    auto second = std::make_unique<Server>("127.0.0.1", std::make_shared<InformationModel>("second"));
    second->start();
    const auto registration =
        variable_.on_write([&](const Path& /*path*/, const Value& /*value*/) { second.reset(); });
    expect_written("2");
    EXPECT_EQ(second, nullptr);
}

TEST_F(HostErrors, ValueOfTheWrongTypeChangesNothing) {
    {
        const std::unique_lock<Tree> lock(server.get_tree());
        EXPECT_THROW(variable_ = Value("text"), BadValueTypeException);
    }
    EXPECT_NE(server.call(create_read(R"(<Items ItemName="v"/>)")).body.find(">1</Value>"),
              std::string::npos);
}

// A descriptor is taken unchecked; what disagrees with it fails the requests that touch it and no others.
TEST_F(HostErrors, ContentThatDisagreesWithItsType) {
    server.get_root().add_variable(
        "wrong", Value(std::string("text"), ValueTypeInfo(VALUE_TYPE::DOUBLE, false)), {.writable = true});
    server.get_root().add_variable("decimal",
                                   Value(std::string("1.5"), ValueTypeInfo(VALUE_TYPE::DECIMAL, false)));
    for (const std::string name : {"wrong", "decimal"}) {
        expect_bad_request(
            server.call(create_read(R"(<Items ItemName="v"/><Items ItemName=")" + name + R"("/>)")));
        expect_bad_request(server.call(
            R"(<Subscribe ReturnValuesOnReply="true" SubscriptionPingRate="60000"><ItemList><Items ItemName=")" +
            name + R"("/></ItemList></Subscribe>)"));
    }
    EXPECT_EQ(server.call(create_read(R"(<Items ItemName="v"/>)")).status, 200);
}

TEST_F(HostErrors, DomainRemovedUnderASubscription) {
    const StderrCapture diagnostics;
    server.get_root().add_domain("d").add_variable("below", Value(1));
    const Reply reply = server.call(
        R"(<Subscribe ReturnValuesOnReply="true" SubscriptionPingRate="60000"><ItemList>)"
        R"(<Items ItemName="d"/><Items ItemName="d/below"/><Items ItemName="v"/></ItemList></Subscribe>)");
    const std::size_t start = reply.body.find("ServerSubHandle=\"") + 17;
    const std::string poll = "<SubscriptionPolledRefresh><ServerSubHandles>" +
                             reply.body.substr(start, reply.body.find('"', start) - start) +
                             "</ServerSubHandles></SubscriptionPolledRefresh>";
    {
        const std::unique_lock<Tree> lock(server.get_tree());
        server.get_root().remove("d");
    }
    const Reply polled = server.call(poll);
    EXPECT_EQ(polled.status, 200);
    EXPECT_NE(polled.body.find("ItemName=\"/v\""), std::string::npos);
    EXPECT_EQ(polled.body.find("below"), std::string::npos);
}

TEST(HostThatDies, LeavesNoClientWaiting) {
    HardeningHost host;
    std::vector<std::unique_ptr<HttpClient>> clients;
    const std::string poll =
        create_request(R"(<SubscriptionPolledRefresh HoldTime="2200-01-01T00:00:00Z"/>)");
    const std::string read = create_request(R"(<Read><ItemList><Items ItemName="large"/></ItemList></Read>)");
    for (int number = 0; number < 10; ++number) {
        clients.push_back(std::make_unique<HttpClient>(host.get_port()));
        const std::string& body = number % 2 == 0 ? poll : read;
        clients.back()->send("POST / HTTP/1.1\r\nContent-Length: " + std::to_string(body.size()) +
                             "\r\n\r\n" + body);
    }
    host.expect_served();
    host.kill();
    for (const auto& client : clients) {
        EXPECT_ANY_THROW(client->receive());  // closed, before or inside the reply
    }
}

}  // namespace
}  // namespace kx::information_model::opc::testing
