#include "server/ListBuilder.h"

#include "server/Arena.h"
#include "server/MarkupRope.h"
#include "server/reply_dom.h"
#include "support/allocation_count.h"
#include "support/reply_text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace kx::information_model::opc {
namespace {

using testing::to_text;

class ListBuilding : public ::testing::Test {
protected:
    void append_item(int number) {
        auto item = create_element(*document, "Item");
        set_attribute(*item, "number", std::to_string(number));
        append_text(*append_element(*item, "Value"), "text");
        list->appendChild(item);
    }

    Poco::AutoPtr<Poco::XML::Document> document = create_reply_document();
    Poco::AutoPtr<Poco::XML::Element> list = create_element(*document, "List");
};

TEST_F(ListBuilding, WritesWhatIsAppended) {
    {
        const ListBuilder builder(*list);
        append_item(1);
        append_item(2);
    }
    EXPECT_EQ(
        to_text(*list),
        R"(<List><Item number="1"><Value>text</Value></Item><Item number="2"><Value>text</Value></Item></List>)");
}

TEST_F(ListBuilding, LeavesAnEmptyListEmpty) {
    { const ListBuilder builder(*list); }
    EXPECT_EQ(to_text(*list), "<List/>");
}

TEST_F(ListBuilding, GoesOnWithAnotherBuilderAndWithOrdinaryChildren) {
    set_attribute(*list, "before", "1");
    {
        const ListBuilder builder(*list);
        list->appendChild(create_element(*document, "a"));
        set_attribute(*list, "meanwhile", "2");
    }
    {
        const ListBuilder builder(*list);
        list->appendChild(create_element(*document, "b"));
    }
    append_text_element(*list, "c", "<");
    append_element(*list, "d");
    set_attribute(*list, "after", "3");
    EXPECT_EQ(to_text(*list), R"(<List after="3" before="1" meanwhile="2"><a/><b/><c>&lt;</c><d/></List>)");
}

TEST_F(ListBuilding, KeepsWhatWasMadeMeanwhileAndNotAppendedToTheList) {
    auto root = create_element(*document, "root");
    Poco::AutoPtr<Poco::XML::Element> kept;
    {
        const ListBuilder builder(*list);
        append_item(1);
        kept = create_element(*document, "kept");
        root->appendChild(kept);
        for (int number = 0; number < 1000; ++number) {
            append_item(number);
        }
    }
    set_attribute(*kept, "a", "b");
    EXPECT_EQ(to_text(*root), R"(<root><kept a="b"/></root>)");
}

TEST_F(ListBuilding, TakesNoMemoryForEachItem) {
    const ListBuilder builder(*list);
    for (int number = 0; number < 10'000; ++number) {
        append_item(number);  // the list's text has grown to pieces of the largest size
    }
    const std::size_t before = testing::get_allocation_count();
    for (int number = 0; number < 1000; ++number) {
        append_item(number);
    }
    EXPECT_LT(testing::get_allocation_count() - before, 20U);
}

TEST_F(ListBuilding, RefusesWhatHasTextOrChildren) {
    append_text(*list, "text");
    EXPECT_THROW(ListBuilder{*list}, std::logic_error);
    auto other = create_element(*document, "other");
    append_element(*other, "child");
    EXPECT_THROW(ListBuilder{*other}, std::logic_error);
    EXPECT_THROW(append_text_element(*other, "late", ""), std::logic_error);
    EXPECT_EQ(to_text(*other), "<other><child/></other>");
}

TEST_F(ListBuilding, RefusesTextAndIncompleteChildren) {
    const ListBuilder builder(*list);
    EXPECT_THROW(append_element(*list, "incomplete"), std::logic_error);
    EXPECT_THROW(ListBuilder{*list}, std::logic_error);
    append_item(1);
    EXPECT_THROW(append_text(*list, "text"), std::logic_error);
}

class ReplyLimit : public ListBuilding {
protected:
    ReplyLimit() { static_cast<ReplyDocument&>(*document).limit(100'000); }
};

TEST_F(ReplyLimit, HoldsForAttributes) {
    set_attribute(*list, "a", std::string(90'000, 'x'));
    EXPECT_THROW(set_attribute(*list, "b", std::string(20'000, 'x')), ReplyLimitException);
}

TEST_F(ReplyLimit, HoldsForText) {
    append_text(*list, std::string(90'000, 'x'));
    EXPECT_THROW(append_text(*list, std::string(20'000, '<')), ReplyLimitException);
}

TEST_F(ReplyLimit, HoldsForElementsOfText) {
    append_text_element(*list, "a", std::string(90'000, 'x'));
    EXPECT_THROW(append_text_element(*list, "b", std::string(20'000, 'x')), ReplyLimitException);
}

TEST_F(ReplyLimit, HoldsForItemsOfAList) {
    const ListBuilder builder(*list);
    const auto append_many = [this] {
        for (int number = 0; number < 10'000; ++number) {
            append_item(number);
        }
    };
    EXPECT_THROW(append_many(), ReplyLimitException);
}

TEST(MarkupRope, HoldsWhatWasAppended) {
    MarkupRope rope;
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

TEST(MarkupRope, TakesAnotherAndLeavesItAsItIs) {
    MarkupRope list;
    list.append("list ");
    MarkupRope rope;
    rope.append("start ");
    rope.append(list);
    rope.append("end");
    list.append("more");
    EXPECT_EQ(rope.to_string(), "start list end");
    EXPECT_EQ(list.to_string(), "list more");
    rope.append(MarkupRope());
    EXPECT_EQ(rope.to_string(), "start list end");
}

std::size_t count_pieces(const MarkupRope& rope) {
    std::size_t pieces = 0;
    rope.for_each_piece([&](std::string_view /*piece*/) { ++pieces; });
    return pieces;
}

// An array of ten members is a rope of its own, and there may be thousands of them in a reply.
TEST(MarkupRope, DoesNotFallIntoSmallPieces) {
    MarkupRope rope;
    std::string expected;
    for (int number = 0; number < 10'000; ++number) {
        MarkupRope array;
        array.append(std::string(300, 'x'));
        rope.append(array);
        rope.append("<small/>");
        expected += std::string(300, 'x') + "<small/>";
    }
    EXPECT_EQ(rope.to_string(), expected);
    EXPECT_LT(count_pieces(rope), 100U);
}

TEST(MarkupRope, SharesLargePieces) {
    MarkupRope list;
    list.append(std::string(1'000'000, 'x'));
    MarkupRope rope;
    rope.append(list);
    const char* shared = nullptr;
    rope.for_each_piece([&](std::string_view piece) { shared = piece.data(); });
    list.for_each_piece([&](std::string_view piece) { EXPECT_EQ(piece.data(), shared); });
}

TEST(Arena, AlignsWhatItGives) {
    Arena arena;
    for (const std::size_t size : {1U, 3U, 16U, 1000U, 5000U, 100'000U, 1'000'000U}) {
        for (const std::size_t alignment : {1U, 8U, 16U, 64U}) {
            auto* const bytes = static_cast<char*>(arena.allocate(size, alignment));
            EXPECT_EQ(reinterpret_cast<std::uintptr_t>(bytes) % alignment, 0U);
            std::fill_n(bytes, size, 'x');  // the address sanitizer knows whether it may
        }
    }
}

TEST(Arena, KeepsWhatItGave) {
    Arena arena;
    std::vector<char*> given;
    for (int number = 0; number < 100'000; ++number) {
        given.push_back(static_cast<char*>(arena.allocate(1 + number % 7, 1)));
        *given.back() = static_cast<char>(number % 100);
    }
    for (int number = 0; number < 100'000; ++number) {
        ASSERT_EQ(*given[static_cast<std::size_t>(number)], number % 100) << number;
    }
}

}  // namespace
}  // namespace kx::information_model::opc
