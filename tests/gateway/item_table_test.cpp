#include "gateway/items/ItemTable.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace gateway {
namespace {

ItemState create_state(const std::string& text, const std::string& quality = "good") {
    ItemState state;
    state.kind = ItemState::Kind::VARIABLE;
    state.value.type = "int";
    state.value.text = text;
    state.quality = quality;
    return state;
}

void update(ItemTable& table, Item& item, const std::string& text) {
    table.update(item, create_state(text), table.get_read_number());
    table.publish();
}

TEST(ItemTable, CountsChangesOfValueAndQuality) {
    ItemTable table;
    const auto item = table.get("/a");
    update(table, *item, "1");
    const std::uint64_t first = item->change;
    update(table, *item, "1");
    EXPECT_EQ(item->change, first);
    update(table, *item, "2");
    EXPECT_GT(item->change, first);
    const std::uint64_t second = item->change;
    table.update(*item, create_state("2", "bad"), table.get_read_number());
    EXPECT_GT(item->change, second);
}

TEST(ItemTable, TakesMereTimestampsWithoutAChange) {
    ItemTable table;
    const auto item = table.get("/a");
    update(table, *item, "1");
    const std::uint64_t change = item->change;
    ItemState state = create_state("1");
    state.timestamp = "2026-11-21T10:11:12Z";
    table.update(*item, state, table.get_read_number());
    EXPECT_EQ(item->change, change);
    EXPECT_EQ(item->state.timestamp, state.timestamp);
}

TEST(ItemTable, IgnoresRepliesThatWereOvertaken) {
    ItemTable table;
    const auto item = table.get("/a");
    const std::uint64_t older = table.get_read_number();
    const std::uint64_t newer = table.get_read_number();
    table.update(*item, create_state("new"), newer);
    table.update(*item, create_state("old"), older);
    EXPECT_EQ(item->state.value.text, "new");
}

TEST(ItemTable, StaleValuesKeepTheirText) {
    ItemTable table;
    const auto item = table.get("/a");
    update(table, *item, "1");
    const std::uint64_t before = table.get_read_number();
    table.set_stale();
    EXPECT_EQ(item->state.quality, "badLastKnownValue");
    EXPECT_EQ(item->state.value.text, "1");
    table.update(*item, create_state("1"), before);  // a reply from before
    EXPECT_EQ(item->state.quality, "badLastKnownValue");
}

TEST(ItemTable, WhatWasNeverReadIsNewsOnceWhenTheServerIsAway) {
    ItemTable table;
    const auto item = table.get("/a");
    EXPECT_EQ(item->change, 0U);
    table.set_stale();
    const std::uint64_t change = item->change;
    EXPECT_EQ(change, table.get_change());
    EXPECT_EQ(item->state.kind, ItemState::Kind::UNKNOWN);
    table.set_stale();
    EXPECT_EQ(item->change, change);
}

TEST(ItemTable, TellsListenersOnceForEachPublish) {
    ItemTable table;
    int calls = 0;
    auto listening = table.listen([&calls] { ++calls; });
    const auto first = table.get("/a");
    const auto second = table.get("/b");
    table.update(*first, create_state("1"), table.get_read_number());
    table.update(*second, create_state("1"), table.get_read_number());
    table.publish();
    table.publish();
    EXPECT_EQ(calls, 1);
    listening.reset();
    update(table, *first, "2");
    EXPECT_EQ(calls, 1);
}

TEST(ItemTable, ListenersMayLeaveWhileTheyAreCalled) {
    ItemTable table;
    std::vector<std::shared_ptr<void>> listening;
    int calls = 0;
    for (int i = 0; i < 3; ++i) {
        listening.push_back(table.listen([&] {
            ++calls;
            listening.clear();
        }));
    }
    update(table, *table.get("/a"), "1");
    EXPECT_EQ(calls, 1);
}

TEST(ItemTable, KnowsWhatIsWatched) {
    ItemTable table;
    std::vector<std::string> told;
    table.set_watch_listener([&told](const auto& item) { told.push_back(item->path); });
    {
        const ItemWatch first(table, table.get("/a"));
        const ItemWatch second(table, table.get("/a"));
        EXPECT_EQ(table.get_watched(), 1U);
    }
    EXPECT_EQ(table.get_watched(), 0U);
    EXPECT_EQ(told, std::vector<std::string>{"/a"});
}

TEST(ItemTable, ForgetsWhatNobodyWatches) {
    ItemTable table(3);
    const ItemWatch watch(table, table.get("/watched"));
    for (int i = 0; i < 100; ++i) {
        table.get("/" + std::to_string(i));
    }
    EXPECT_LE(table.get_size(), 5U);
    EXPECT_EQ(table.find("/watched"), watch.share());
}

TEST(ItemTable, ForgetsWhatTakesTooMuchMemory) {
    ItemTable table(1000, 100'000);
    const auto path = [](int number) { return "/" + std::to_string(number) + std::string(4000, 'x'); };
    const ItemWatch watch(table, table.get("/watched"));
    std::size_t most = 0;
    for (int i = 0; i < 100; ++i) {
        table.get(path(i));
        most = std::max(most, table.get_size());
    }
    EXPECT_LE(most, 1 + 100'000 / 8000 + 1U);
    EXPECT_GE(most, 10U);
    EXPECT_EQ(table.find("/watched"), watch.share());

    update(table, *table.get("/large"), std::string(200'000, '1'));
    const auto held = table.find("/large");
    table.get("/next");
    EXPECT_EQ(table.find("/large"), nullptr);
    update(table, *held, "1");  // by a reply that was under way
    table.get("/large");
    EXPECT_NE(table.find("/next"), nullptr);
}

TEST(ItemTable, MayTakeTwiceAsMuchAsIsWatched) {
    ItemTable table(1000, 100'000);
    const ItemWatch watch(table, table.get("/watched"));
    update(table, watch.get(), std::string(200'000, '1'));
    table.get("/a");
    const auto second = table.get("/b");
    EXPECT_EQ(table.find("/b"), second);
    EXPECT_NE(table.find("/a"), nullptr);
}

}  // namespace
}  // namespace gateway
