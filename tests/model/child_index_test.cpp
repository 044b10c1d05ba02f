#include "model/ChildIndex.h"

#include <information_model/Domain.h>
#include <information_model/InformationModel.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "model/AllocationControl.h"
#include "model/numbered.h"

namespace kx::information_model::detail {

namespace {

class Node : public Tree {
public:
    explicit Node(std::string name) : Tree(std::move(name), nullptr) {}
};

void add(ChildIndex& index, const std::string& name) {
    index.reserve_one();
    index.add(std::make_unique<Node>(name));
}

std::vector<std::string> get_names(const ChildIndex& index) {
    std::vector<std::string> names;
    for (const auto& child : index.get_children()) {
        names.push_back(child->get_name());
    }
    return names;
}

std::string get_name(int number) {
    return testing::numbered("child", number);
}

/// Whether the index finds each of the names, and its own child.
bool finds_all(const ChildIndex& index, const std::vector<std::string>& names) {
    return std::all_of(names.begin(), names.end(), [&index](const std::string& name) {
        const Tree* found = index.find(name);
        return found != nullptr && found->get_name().as_string() == name;
    });
}

}  // namespace

TEST(ChildIndex, StartsEmpty) {
    const ChildIndex index;
    EXPECT_TRUE(index.is_empty());
    EXPECT_TRUE(index.get_children().empty());
    EXPECT_EQ(index.find("a"), nullptr);
    EXPECT_EQ(index.find(""), nullptr);
}

class ChildIndexOfSize : public ::testing::TestWithParam<int> {};

TEST_P(ChildIndexOfSize, FindsEveryChildAndKeepsTheOrder) {
    ChildIndex index;
    std::vector<std::string> names;
    for (int i = 0; i < GetParam(); ++i) {
        names.push_back(get_name(i));
        add(index, names.back());
    }
    EXPECT_EQ(get_names(index), names);
    EXPECT_TRUE(finds_all(index, names));
    EXPECT_EQ(index.find(get_name(GetParam())), nullptr);
    EXPECT_EQ(index.find("child"), nullptr);
}

TEST_P(ChildIndexOfSize, FindsTheOthersAfterEachRemoval) {
    ChildIndex index;
    std::vector<std::string> names;
    for (int i = 0; i < GetParam(); ++i) {
        names.push_back(get_name(i));
        add(index, names.back());
    }
    std::mt19937 random(4);
    while (!names.empty()) {
        const auto position = static_cast<std::ptrdiff_t>(random() % names.size());
        const std::string name = names[static_cast<std::size_t>(position)];
        EXPECT_EQ(index.remove(name)->get_name().as_string(), name);
        names.erase(names.begin() + position);
        ASSERT_EQ(get_names(index), names);
        ASSERT_TRUE(finds_all(index, names));
        ASSERT_EQ(index.find(name), nullptr);
        ASSERT_EQ(index.remove(name), nullptr);
    }
}

INSTANTIATE_TEST_SUITE_P(ChildIndex, ChildIndexOfSize,
                         ::testing::Values(1, 2, 7, 8, 9, 10, 24, 25, 49, 97, 500));

TEST(ChildIndex, MixedChangesKeepOrderAndLookUp) {
    ChildIndex index;
    std::vector<std::string> names;
    std::mt19937 random(5);
    for (int step = 0; step < 20'000; ++step) {
        const std::string name = get_name(static_cast<int>(random() % 200));
        const auto found = std::find(names.begin(), names.end(), name);
        if (found == names.end()) {
            ASSERT_EQ(index.find(name), nullptr);
            add(index, name);
            names.push_back(name);
        } else if (random() % 3 == 0) {
            ASSERT_NE(index.remove(name), nullptr);
            names.erase(found);
        } else {
            ASSERT_EQ(index.find(name)->get_name().as_string(), name);
        }
    }
    EXPECT_EQ(get_names(index), names);
    EXPECT_TRUE(finds_all(index, names));
}

TEST(ChildIndex, LookUpAllocatesNothing) {
    ChildIndex index;
    for (int i = 0; i < 1'000; ++i) {
        add(index, testing::numbered("a rather long name of a child ", i));
    }
    const std::string name = "a rather long name of a child 500";
    const testing::AllocationCounter counter;
    const Tree* found = index.find(name);
    const Tree* missing = index.find("missing");
    EXPECT_EQ(counter.get_count(), 0U);
    EXPECT_NE(found, nullptr);
    EXPECT_EQ(missing, nullptr);
}

TEST(ChildIndex, FailureToMakeRoomChangesNothing) {
    ChildIndex index;
    std::vector<std::string> names;
    for (int i = 0; i < 100; ++i) {
        names.push_back(get_name(i));
        auto child = std::make_unique<Node>(names.back());
        try {
            const testing::AllocationFailure failure(0);
            index.reserve_one();
        } catch (const std::bad_alloc&) {
            names.pop_back();
            ASSERT_EQ(get_names(index), names);
            ASSERT_TRUE(finds_all(index, names));
            names.push_back(get_name(i));
            index.reserve_one();
        }
        const testing::AllocationCounter counter;
        index.add(std::move(child));
        ASSERT_EQ(counter.get_count(), 0U);
    }
    EXPECT_TRUE(finds_all(index, names));
}

TEST(ChildIndex, RandomRemovalsKeepOrderAndNames) {
    std::mt19937 random(4);
    ChildIndex index;
    std::vector<std::string> names;
    int number = 0;
    for (int step = 0; step < 20'000; ++step) {
        // Phases of growth and of decline; removals at the front, at the back and between.
        const bool is_growing = step / 500 % 2 == 0;
        if (names.empty() || random() % 10 < (is_growing ? 7U : 3U)) {
            names.push_back(get_name(number++));
            add(index, names.back());
            continue;
        }
        const std::size_t places[] = {0, names.size() - 1, random() % names.size()};
        const auto place = names.begin() + static_cast<std::ptrdiff_t>(places[random() % 3]);
        const auto removed = index.remove(*place);
        ASSERT_NE(removed, nullptr);
        ASSERT_EQ(removed->get_name().as_string(), *place);
        names.erase(place);
        ASSERT_EQ(index.get_children().size(), names.size());
        if (step % 50 == 0) {
            ASSERT_EQ(get_names(index), names);
            ASSERT_TRUE(finds_all(index, names));
        }
    }
    EXPECT_EQ(get_names(index), names);
}

TEST(ChildIndex, RemovesWhatIsChosenBehindAGap) {
    ChildIndex index;
    for (int i = 0; i < 40; ++i) {
        add(index, get_name(i));
    }
    index.remove(get_name(0));
    index.remove(get_name(1));
    const auto removed =
        index.remove_if([](const Tree& child) { return child.get_name().as_string().size() > 6; });
    EXPECT_EQ(removed.size(), 30U);
    EXPECT_EQ(removed.front()->get_name().as_string(), get_name(10));
    EXPECT_EQ(index.get_children().size(), 8U);
    EXPECT_EQ(index.find(get_name(10)), nullptr);
    EXPECT_NE(index.find(get_name(9)), nullptr);
}

TEST(ChildIndex, QueueDoesNotGrow) {
    ChildIndex index;
    for (int i = 0; i < 10; ++i) {
        add(index, get_name(i));
    }
    for (int i = 10; i < 10'000; ++i) {
        add(index, get_name(i));
        index.remove(get_name(i - 10));
    }
    EXPECT_EQ(index.get_children().size(), 10U);
    const testing::AllocationCounter counter;
    for (int i = 0; i < 5; ++i) {
        index.reserve_one();
    }
    EXPECT_EQ(counter.get_count(), 0U);
    EXPECT_EQ(index.get_children().front()->get_name().as_string(), get_name(9'990));
}

}  // namespace kx::information_model::detail
