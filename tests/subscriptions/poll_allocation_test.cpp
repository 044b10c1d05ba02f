#include "../support/allocation_count.h"
#include "ServiceCaller.h"
#include "subscriptions/Subscribe.h"
#include "subscriptions/SubscriptionPolledRefresh.h"

#include <gtest/gtest.h>

#include <cstddef>

namespace kx::information_model::opc::testing {
namespace {

/// Allocations of a poll that finds `item_count` variables unchanged, from the request's element to the
/// reply's document.
std::size_t count_allocations_of_unchanged_poll(int item_count) {
    ServiceCaller caller;
    std::string items;
    for (int number = 0; number < item_count; ++number) {
        const std::string name = "a variable with a name of some length " + std::to_string(number);
        caller.get_root().add_variable(name, Value(number));
        items += "<Items ItemName=\"/" + name + "\"/>";
    }
    const std::string handle = get_handle(caller.call<Subscribe>(
        R"(<Subscribe ReturnValuesOnReply="true" SubscriptionPingRate="3600000"><ItemList>)" + items +
        "</ItemList></Subscribe>"));
    const ServiceRequest request("<SubscriptionPolledRefresh><ServerSubHandles>" + handle +
                                 "</ServerSubHandles></SubscriptionPolledRefresh>");
    const auto poll = [&] {
        const std::size_t before = get_allocation_count();
        SubscriptionPolledRefresh(caller.model, request.get_element(), request.get_namespaces(),
                                  caller.handler)
            .generate();
        return get_allocation_count() - before;
    };
    EXPECT_GT(poll(), static_cast<std::size_t>(item_count));  // the first one reports them all
    return poll();
}

TEST(PollAllocations, UnchangedItemsAllocateNothing) {
    const std::size_t without_items = count_allocations_of_unchanged_poll(0);
    EXPECT_GT(without_items, 0U);
    EXPECT_EQ(count_allocations_of_unchanged_poll(10), without_items);
    EXPECT_EQ(count_allocations_of_unchanged_poll(1000), without_items);
}

}  // namespace
}  // namespace kx::information_model::opc::testing
