#include "base/Rope.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <utility>

namespace kx::information_model::opc {
namespace {

TEST(Rope, HoldsWhatWasAppended) {
    Rope rope;
    EXPECT_TRUE(rope.is_empty());
    std::string expected;
    for (int number = 0; number < 20'000; ++number) {
        const std::string text =
            std::to_string(number) + (number % 1000 == 0 ? std::string(100'000, 'x') : " ");
        rope.append(text);
        expected += text;
    }
    EXPECT_FALSE(rope.is_empty());
    EXPECT_EQ(rope.get_size(), expected.size());
    EXPECT_EQ(rope.to_string(), expected);
    std::string pieces;
    rope.for_each_piece([&](std::string_view piece) { pieces += piece; });
    EXPECT_EQ(pieces, expected);
}

TEST(Rope, TakesAnotherAndLeavesItEmpty) {
    Rope list;
    list.append("list ");
    Rope rope;
    rope.append("start ");
    rope.append(std::move(list));
    rope.append("end");
    EXPECT_EQ(rope.to_string(), "start list end");
    EXPECT_TRUE(list.is_empty());
    list.append("more");
    EXPECT_EQ(list.to_string(), "more");
    rope.append(Rope());
    EXPECT_EQ(rope.to_string(), "start list end");
}

std::size_t count_pieces(const Rope& rope) {
    std::size_t pieces = 0;
    rope.for_each_piece([&](std::string_view /*piece*/) { ++pieces; });
    return pieces;
}

// An array of ten members is a rope of its own, and there may be thousands of them in a reply.
TEST(Rope, DoesNotFallIntoSmallPieces) {
    Rope rope;
    std::string expected;
    for (int number = 0; number < 10'000; ++number) {
        Rope array;
        array.append(std::string(300, 'x'));
        rope.append(std::move(array));
        rope.append("<small/>");
        expected += std::string(300, 'x') + "<small/>";
    }
    EXPECT_EQ(rope.to_string(), expected);
    EXPECT_LT(count_pieces(rope), 100U);
}

TEST(Rope, TakesLargePiecesOver) {
    Rope list;
    list.append(std::string(1'000'000, 'x'));
    const char* taken = nullptr;
    list.for_each_piece([&](std::string_view piece) { taken = piece.data(); });
    Rope rope;
    rope.append("start");
    rope.append(std::move(list));
    const char* last = nullptr;
    rope.for_each_piece([&](std::string_view piece) { last = piece.data(); });
    EXPECT_EQ(last, taken);
}

// What is taken over counts with the memory that it has, not with what it uses.
TEST(Rope, CopiesWhatLiesInMuchMemory) {
    Rope list;
    list.get_end().reserve(1'000'000);
    list.append(std::string(20'000, 'x'));
    Rope rope;
    rope.append(std::move(list));
    EXPECT_LT(rope.get_end().capacity(), 100'000U);
    EXPECT_EQ(rope.to_string(), std::string(20'000, 'x'));
    EXPECT_LT(list.get_end().capacity(), 100'000U);
}

}  // namespace
}  // namespace kx::information_model::opc
