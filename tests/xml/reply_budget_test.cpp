#include "xml/reply/ReplyBudget.h"

#include "xml/reply/ReplyElement.h"
#include "xml/reply/reply_dom.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace kx::information_model::opc {
namespace {

constexpr std::size_t MIB = std::size_t{1} << 20U;

TEST(ReplyBudget, GivesWhatItHas) {
    ReplyBudget budget(100);
    EXPECT_TRUE(budget.take(60));
    EXPECT_FALSE(budget.take(41));
    EXPECT_TRUE(budget.take(40));
    EXPECT_EQ(budget.get_taken(), 100U);
    budget.give_back(60);
    EXPECT_TRUE(budget.take(60));
}

class ProcessBudget : public ::testing::Test {
protected:
    ~ProcessBudget() override {
        EXPECT_EQ(ReplyBudget::get().get_taken(), 0U);
        ReplyBudget::get().limit(ReplyBudget::SIZE);
    }
};

TEST_F(ProcessBudget, CountsLargeRepliesOnly) {
    ReplyShare share;
    EXPECT_TRUE(share.grow_to(64 * 1024));
    EXPECT_EQ(ReplyBudget::get().get_taken(), 0U);
    EXPECT_TRUE(share.grow_to(3 * MIB));
    EXPECT_GE(ReplyBudget::get().get_taken(), 3 * MIB);
    EXPECT_LE(ReplyBudget::get().get_taken(), 4 * MIB);
}

TEST_F(ProcessBudget, HoldsAShareUntilItIsGone) {
    ReplyBudget::get().limit(4 * MIB);
    ReplyShare last;
    {
        ReplyShare first;
        EXPECT_TRUE(first.grow_to(3 * MIB));
        const ReplyShare second(std::move(first));
        EXPECT_FALSE(last.grow_to(2 * MIB));
    }
    EXPECT_TRUE(last.grow_to(2 * MIB));
}

TEST_F(ProcessBudget, LimitsRepliesTogether) {
    ReplyBudget::get().limit(4 * MIB);
    const std::string text(3 * MIB, 'x');
    auto first = create_reply_document();
    append_text(*create_element(*first, "a"), text);
    auto second = create_reply_document();
    auto element = create_element(*second, "a");
    EXPECT_THROW(append_text(*element, text), ReplyLimitException);
    first = nullptr;
    EXPECT_NO_THROW(append_text(*create_element(*second, "a"), "short"));
}

}  // namespace
}  // namespace kx::information_model::opc
