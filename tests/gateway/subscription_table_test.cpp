#include "ManualLoop.h"
#include "gateway/services/SubscriptionTable.h"
#include "gateway/soap/SoapFault.h"

#include <chrono>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace gateway {
namespace {

using namespace std::chrono_literals;

class Subscriptions : public testing::Test {
protected:
    /// Subscribes to one item, as a service does it.
    std::string subscribe(const std::string& client_item_handle) {
        RequestedItem request;
        request.name = "/a";
        request.handle = client_item_handle;
        subscriptions_.check_room("client", 1, count_text_bytes(request));
        std::vector<SubscribedItem> items;
        items.emplace_back(ItemWatch(table_, table_.get("/a")), std::move(request));
        return subscriptions_.add("client", 10s, std::move(items))->handle;
    }

    ManualLoop loop_;
    ItemTable table_;
    SubscriptionTable subscriptions_{loop_, {.most_items = 4, .most_of_an_address = 3}};
};

TEST_F(Subscriptions, BoundsTheTextsThatItKeeps) {
    const std::string half(2 * SubscriptionTable::TEXT_BYTES_OF_AN_ITEM - 10, 'x');
    const std::string first = subscribe(half);
    subscribe(half);
    EXPECT_THROW(subscribe(half), SoapFault);
    EXPECT_TRUE(subscriptions_.remove(first));
    EXPECT_NO_THROW(subscribe(half));
}

TEST_F(Subscriptions, BoundsTheSubscriptionsOfAClient) {
    for (int i = 0; i < 3; ++i) {
        subscribe("");
    }
    EXPECT_THROW(subscribe(""), SoapFault);
    EXPECT_NO_THROW(subscriptions_.check_room("another", 1, 0));
    EXPECT_THROW(subscriptions_.check_room("another", 2, 0), SoapFault);
    loop_.pass(11s);
    subscriptions_.remove_expired();
    EXPECT_EQ(subscriptions_.get_size(), 0U);
    EXPECT_NO_THROW(subscribe(""));
}

}  // namespace
}  // namespace gateway
