#include "ServiceCaller.h"
#include "server/message/Error.h"
#include "subscriptions/Subscribe.h"
#include "subscriptions/SubscriptionCancel.h"
#include "subscriptions/SubscriptionPolledRefresh.h"

#include <information_model/exceptions.h>

#include <Poco/Exception.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <stdexcept>

namespace kx::information_model::opc::testing {
namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;
using std::chrono::system_clock;
using ::testing::HasSubstr;
using ::testing::Not;

const std::string ONE_HOUR = R"( SubscriptionPingRate="3600000")";

class SubscriptionServices : public ::testing::Test {
protected:
    std::shared_ptr<Subscription> subscribe(const std::string& items,
                                            const std::string& list_attributes = "") {
        return caller.handler.find(get_handle(
            caller.call<Subscribe>(R"(<Subscribe ReturnValuesOnReply="true")" + ONE_HOUR + "><ItemList" +
                                   list_attributes + ">" + items + "</ItemList></Subscribe>")));
    }

    std::string poll(const Subscription& subscription) {
        return caller.call<SubscriptionPolledRefresh>("<SubscriptionPolledRefresh><ServerSubHandles>" +
                                                      subscription.handle +
                                                      "</ServerSubHandles></SubscriptionPolledRefresh>");
    }

    ServiceCaller caller;
};

TEST_F(SubscriptionServices, SubscribeKeepsWhatWasAskedFor) {
    const auto subscription = subscribe(
        R"(<Items ItemName="/a"/>)"
        R"(<Items ItemName="b/c" ClientItemHandle="h" Deadband="2.5" RequestedSamplingRate="-7" EnableBuffering="true"/>)"
        R"(<Items ItemName="." ClientItemHandle=""/>)");
    ASSERT_NE(subscription, nullptr);
    EXPECT_EQ(subscription->ping_rate, 1h);
    EXPECT_TRUE(subscription->items_complete);
    ASSERT_EQ(subscription->items.size(), 3U);

    const SubscriptionItem& plain = subscription->items[0];
    EXPECT_EQ(plain.path, Path("/a"));
    EXPECT_EQ(plain.client_item_handle, std::nullopt);
    EXPECT_EQ(plain.deadband, 0.0F);
    EXPECT_EQ(plain.requested_sampling_rate, 0ms);
    EXPECT_FALSE(plain.enable_buffering);

    const SubscriptionItem& full = subscription->items[1];
    EXPECT_EQ(full.path, Path("b/c"));
    EXPECT_EQ(full.client_item_handle, "h");
    EXPECT_EQ(full.deadband, 2.5F);
    EXPECT_EQ(full.requested_sampling_rate, -7ms);
    EXPECT_TRUE(full.enable_buffering);

    EXPECT_EQ(subscription->items[2].path, Path("."));
    EXPECT_EQ(subscription->items[2].client_item_handle, "");
}

TEST_F(SubscriptionServices, SubscribeTakesDefaultsFromTheList) {
    const auto subscription =
        subscribe(R"(<Items ItemName="/a"/>)"
                  R"(<Items ItemName="/b" Deadband="0" RequestedSamplingRate="0" EnableBuffering="false"/>)",
                  R"( Deadband="12.5" RequestedSamplingRate="1,000" EnableBuffering="1")");
    ASSERT_EQ(subscription->items.size(), 2U);
    EXPECT_EQ(subscription->items[0].deadband, 12.5F);
    EXPECT_EQ(subscription->items[0].requested_sampling_rate, 1000ms);
    EXPECT_TRUE(subscription->items[0].enable_buffering);
    EXPECT_EQ(subscription->items[1].deadband, 0.0F);
    EXPECT_EQ(subscription->items[1].requested_sampling_rate, 0ms);
    EXPECT_FALSE(subscription->items[1].enable_buffering);
}

TEST_F(SubscriptionServices, SubscribeWithoutPingRateExpiresAtOnce) {
    const auto before = steady_clock::now();
    const std::string reply = caller.call<Subscribe>(R"(<Subscribe ReturnValuesOnReply="true"/>)");
    const auto subscription = caller.handler.find(get_handle(reply));
    EXPECT_EQ(subscription->ping_rate, 0ms);
    EXPECT_GE(subscription->expiry.load(), before);
    EXPECT_LE(subscription->expiry.load(), steady_clock::now());
}

TEST_F(SubscriptionServices, SubscribeRegistersNothingWithoutItsOwnAttributes) {
    EXPECT_THROW(caller.call<Subscribe>("<Subscribe" + ONE_HOUR + "/>"), std::logic_error);
    EXPECT_THROW(caller.call<Subscribe>(R"(<Subscribe ReturnValuesOnReply="maybe"/>)"),
                 Poco::SyntaxException);
    EXPECT_THROW(
        caller.call<Subscribe>(R"(<Subscribe ReturnValuesOnReply="true" SubscriptionPingRate="soon"/>)"),
        Poco::SyntaxException);
    EXPECT_THROW(caller.call<Subscribe>(
                     R"(<Subscribe ReturnValuesOnReply="true" SubscriptionPingRate="2147483648"/>)"),
                 Poco::SyntaxException);
    EXPECT_EQ(caller.handler.get_size(), 0U);
}

struct FailingSubscribe {
    std::string name;
    std::string content;
};

class SubscribeFailingLate : public ::testing::TestWithParam<FailingSubscribe> {};

TEST_P(SubscribeFailingLate, LeavesItsSubscriptionBehind) {
    ServiceCaller caller;
    EXPECT_ANY_THROW(caller.call<Subscribe>(R"(<Subscribe ReturnValuesOnReply="true")" + ONE_HOUR + ">" +
                                            GetParam().content + "</Subscribe>"));
    EXPECT_EQ(caller.handler.get_size(), 1U);
}

INSTANTIATE_TEST_SUITE_P(
    Requests, SubscribeFailingLate,
    ::testing::Values(
        FailingSubscribe{"Options", R"(<Options ReturnItemTime="maybe"/>)"},
        FailingSubscribe{"ListDeadband", R"(<ItemList Deadband="much"/>)"},
        FailingSubscribe{"ListSamplingRate", R"(<ItemList RequestedSamplingRate="0.5"/>)"},
        FailingSubscribe{"ListBuffering", R"(<ItemList EnableBuffering=""/>)"},
        FailingSubscribe{"NoItemName", R"(<ItemList><Items/></ItemList>)"},
        FailingSubscribe{"EmptyItemName", R"(<ItemList><Items ItemName=""/></ItemList>)"},
        FailingSubscribe{"BadItemName", R"(<ItemList><Items ItemName="a//b"/></ItemList>)"},
        FailingSubscribe{"ItemDeadband", R"(<ItemList><Items ItemName="a" Deadband="x"/></ItemList>)"},
        FailingSubscribe{"ItemSamplingRate",
                         R"(<ItemList><Items ItemName="a" RequestedSamplingRate="x"/></ItemList>)"},
        FailingSubscribe{"ItemBuffering",
                         R"(<ItemList><Items ItemName="a" EnableBuffering="x"/></ItemList>)"}),
    [](const auto& parameter) { return parameter.param.name; });

// The subscription is in the store before its items are: what finds it early must not touch them.
TEST_F(SubscriptionServices, PollReportsNoItemsBeforeTheyAreComplete) {
    caller.get_root().add_variable("a", Value(1));
    const auto subscription = caller.handler.create(std::chrono::hours(1));
    subscription->items.push_back({Path("/a"), std::nullopt, 0.0F, {}, false});
    EXPECT_THAT(poll(*subscription), HasSubstr("<RItemList/>"));
    subscription->items_complete = true;
    subscription->last_poll = system_clock::time_point{};
    EXPECT_THAT(poll(*subscription), HasSubstr("<Items ItemName=\"/a\">"));
}

TEST_F(SubscriptionServices, PollRestartsExpiryAndLastPoll) {
    const auto subscription = subscribe(R"(<Items ItemName="."/>)");
    subscription->expiry = steady_clock::now() - 1s;
    const auto steady_before = steady_clock::now();
    const auto system_before = system_clock::now();
    poll(*subscription);
    EXPECT_GE(subscription->expiry.load(), steady_before + 1h);
    EXPECT_LE(subscription->expiry.load(), steady_clock::now() + 1h);
    EXPECT_GE(subscription->last_poll.load(), system_before);
    EXPECT_LE(subscription->last_poll.load(), system_clock::now());
}

TEST_F(SubscriptionServices, PollOfASubscriptionWithoutItemsRestartsItToo) {
    const auto subscription = subscribe("");
    subscription->expiry = steady_clock::now();
    const auto before = steady_clock::now();
    poll(*subscription);
    EXPECT_GE(subscription->expiry.load(), before + 1h);
    EXPECT_NE(subscription->last_poll.load(), system_clock::time_point{});
}

TEST_F(SubscriptionServices, FailedPollRestartsNothing) {
    caller.get_root().add_variable("bad", Value(1, ValueTypeInfo(VALUE_TYPE::DECIMAL, false)));
    const auto subscription = caller.handler.create(std::chrono::hours(1));
    subscription->items.push_back({Path("/bad"), std::nullopt, 0.0F, {}, false});
    subscription->items_complete = true;
    const auto expiry = subscription->expiry.load();
    EXPECT_THROW(poll(*subscription), std::invalid_argument);
    EXPECT_EQ(subscription->expiry.load(), expiry);
    EXPECT_EQ(subscription->last_poll.load(), system_clock::time_point{});
}

TEST_F(SubscriptionServices, PollReportsStrictlyLaterModifications) {
    const Variable& variable = caller.get_root().add_variable("a", Value(1));
    const auto subscription = subscribe(R"(<Items ItemName="/a"/>)");
    subscription->last_poll = variable.get_modified_timestamp();
    EXPECT_THAT(poll(*subscription), Not(HasSubstr("<Items")));
    subscription->last_poll = variable.get_modified_timestamp() - 1ns;
    EXPECT_THAT(poll(*subscription), HasSubstr("<Items ItemName=\"/a\">"));
}

TEST_F(SubscriptionServices, CancelRemovesTheSubscription) {
    const auto subscription = subscribe("");
    const std::string request = R"(<SubscriptionCancel ServerSubHandle=")" + subscription->handle + R"("/>)";
    caller.call<SubscriptionCancel>(request);
    EXPECT_EQ(caller.handler.get_size(), 0U);
    try {
        caller.call<SubscriptionCancel>(request);
        ADD_FAILURE() << "no error";
    } catch (const Error& error) {
        EXPECT_EQ(error.get_error_code(), "E_NOSUBSCRIPTION");
    }
}

TEST_F(SubscriptionServices, CancelWithoutHandleCancelsNothing) {
    subscribe("");
    EXPECT_THROW(caller.call<SubscriptionCancel>("<SubscriptionCancel/>"), std::logic_error);
    EXPECT_EQ(caller.handler.get_size(), 1U);
}

}  // namespace
}  // namespace kx::information_model::opc::testing
