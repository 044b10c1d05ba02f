#include <information_model/Domain.h>
#include <information_model/InformationModel.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>
#include <functional>
#include <limits>
#include <ranges>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "model/AllocationControl.h"
#include "model/numbered.h"

namespace kx::information_model {

using testing::numbered;

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace {

std::vector<std::string> get_child_names(const Domain& domain) {
    std::vector<std::string> names;
    for (const auto& child : domain.get_children()) {
        names.push_back(child->get_name());
    }
    return names;
}

/// The message of the `std::invalid_argument` that `action` throws.
template <class Action>
std::string get_message(Action action) {
    try {
        action();
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
    return "nothing thrown";
}

class Domains : public ::testing::Test {
protected:
    InformationModel model_{"plant"};
    Domain& root_ = model_.get_root();
};

}  // namespace

TEST_F(Domains, HasDefaults) {
    const Domain& domain = root_.add_domain("boiler");
    EXPECT_EQ(domain.get_name().as_string(), "boiler");
    EXPECT_EQ(domain.get_item_type(), ITEM_TYPE::DOMAIN);
    EXPECT_EQ(domain.get_description(), "");
    EXPECT_FALSE(domain.has_identity());
    EXPECT_EQ(domain.get_identity().as_string(), "");
    EXPECT_EQ(domain.get_pattern_type().get_name(), "common.Any");
    EXPECT_TRUE(domain.is_empty());
    EXPECT_THAT(get_child_names(domain), IsEmpty());
}

TEST_F(Domains, TakesItsOptions) {
    const Domain& domain = root_.add_domain("boiler", {.description = "Steam boiler 1",
                                                       .identity = Identity("B-001"),
                                                       .pattern_type = pattern_type::DEVICE});
    EXPECT_EQ(domain.get_description(), "Steam boiler 1");
    EXPECT_TRUE(domain.has_identity());
    EXPECT_EQ(domain.get_identity(), Identity("B-001"));
    EXPECT_EQ(domain.get_pattern_type(), pattern_type::DEVICE);
}

TEST_F(Domains, EmptyIdentityIsAnIdentity) {
    EXPECT_TRUE(root_.add_domain("boiler", {.identity = Identity("")}).has_identity());
}

TEST_F(Domains, KeepsTheOrderOfItsChildren) {
    root_.add_variable("b", Value(1));
    root_.add_domain("a");
    root_.add_variable("c", Value(1));
    EXPECT_THAT(get_child_names(root_), ElementsAre("b", "a", "c"));
    EXPECT_FALSE(root_.is_empty());
}

TEST_F(Domains, ChildrenAreItems) {
    root_.add_variable("v", Value(1));
    root_.add_domain("d");
    const auto children = root_.get_children();
    EXPECT_EQ(dynamic_cast<const Item&>(*children[0]).get_item_type(), ITEM_TYPE::VARIABLE);
    EXPECT_EQ(dynamic_cast<const Item&>(*children[1]).get_item_type(), ITEM_TYPE::DOMAIN);
    EXPECT_EQ(static_cast<int>(ITEM_TYPE::DOMAIN), 0);
    EXPECT_EQ(static_cast<int>(ITEM_TYPE::VARIABLE), 1);
}

TEST_F(Domains, ReferencesStayValidWhileOthersAreAddedAndRemoved) {
    Domain& first = root_.add_domain("first");
    Variable& second = root_.add_variable("second", Value(2));
    for (int i = 0; i < 1'000; ++i) {
        root_.add_variable(std::to_string(i), Value(i));
    }
    for (int i = 0; i < 1'000; ++i) {
        root_.remove(std::to_string(i));
    }
    EXPECT_EQ(first.get_path(), Path("/first"));
    EXPECT_EQ(second.get_value(), Value(2));
    EXPECT_EQ(&root_.get_item(Path("second"), false), &second);
}

TEST_F(Domains, MalformedNamesAreRefusedAndNamed) {
    for (const std::string name :
         {"", ".", "..", "a/b", "/", "a\nb", "\xFF", "\xC2\x80", "\xEF\xBF\xBE", "\xEF\xBF\xBF"}) {
        const std::string by_domain = get_message([&] { root_.add_domain(name); });
        const std::string by_variable = get_message([&] { root_.add_variable(name, Value(1)); });
        EXPECT_THAT(by_domain, HasSubstr("Invalid name: \""));
        EXPECT_EQ(by_variable, by_domain);
    }
    EXPECT_EQ(get_message([&] { root_.add_domain("a/b"); }), "Invalid name: \"a/b\"");
    EXPECT_TRUE(root_.is_empty());
}

TEST_F(Domains, TakenNamesAreRefusedAndNamed) {
    root_.add_variable("level", Value(1));
    EXPECT_EQ(get_message([&] { root_.add_variable("level", Value(2)); }), "Name already taken: \"level\"");
    EXPECT_EQ(get_message([&] { root_.add_domain("level"); }), "Name already taken: \"level\"");
    EXPECT_THAT(get_child_names(root_), ElementsAre("level"));
    EXPECT_EQ(dynamic_cast<const Variable&>(root_.get_item(Path("level"), false)).get_value(), Value(1));
}

TEST_F(Domains, SameNameIsFreeInAnotherDomain) {
    root_.add_domain("a").add_domain("a").add_variable("a", Value(1));
    EXPECT_EQ(root_.get_item(Path("a/a/a"), false).get_path(), Path("/a/a/a"));
}

TEST_F(Domains, RemovedChildIsGoneWithAllBelow) {
    root_.add_domain("a").add_domain("b").add_variable("c", Value(1));
    root_.add_variable("d", Value(1));
    root_.remove("a");
    EXPECT_THAT(get_child_names(root_), ElementsAre("d"));
    EXPECT_THROW(root_.get_item(Path("a"), false), PathNotFoundException);
    EXPECT_THROW(root_.get_item(Path("a/b/c"), false), PathNotFoundException);
}

TEST_F(Domains, RemovedNameIsFreeAgainAndComesLast) {
    root_.add_variable("a", Value(1));
    root_.add_variable("b", Value(1));
    root_.remove("a");
    root_.add_domain("a");
    EXPECT_THAT(get_child_names(root_), ElementsAre("b", "a"));
}

TEST_F(Domains, RemovingTheLastChildEmptiesTheDomain) {
    root_.add_variable("a", Value(1));
    root_.remove("a");
    EXPECT_TRUE(root_.is_empty());
    root_.add_variable("a", Value(2));
    EXPECT_FALSE(root_.is_empty());
}

TEST_F(Domains, RemovingWhatIsNotThereIsRefusedAndNamed) {
    EXPECT_EQ(get_message([&] { root_.remove("x"); }), "No such child: \"x\"");
    root_.add_domain("a").add_variable("b", Value(1));
    EXPECT_EQ(get_message([&] { root_.remove("a/b"); }), "No such child: \"a/b\"");
    EXPECT_THAT(get_child_names(root_), ElementsAre("a"));
}

TEST_F(Domains, FailureToAddChangesNothing) {
    for (int i = 0; i < 9; ++i) {
        root_.add_variable(std::to_string(i), Value(i));
    }
    bool is_added = false;
    for (std::size_t successes = 0; !is_added; ++successes) {
        Value value(1);
        try {
            const testing::AllocationFailure failure(successes);
            root_.add_variable("new", std::move(value),
                               {.description = "with text", .engineering_unit = "degC"});
            is_added = true;
        } catch (const std::bad_alloc&) {
            ASSERT_EQ(get_child_names(root_).size(), 9U);
            ASSERT_THROW(root_.get_item(Path("new"), false), PathNotFoundException);
        }
    }
    EXPECT_EQ(root_.get_item(Path("new"), false).get_description(), "with text");
}

TEST_F(Domains, DeepTreeIsDestroyedWithoutRecursion) {
    Domain* domain = &root_;
    for (int i = 0; i < 100'000; ++i) {
        domain->add_variable("v", Value(i));
        domain = &domain->add_domain("d");
        domain->add_variable("w", Value(i));
    }
    root_.remove("d");
    EXPECT_THAT(get_child_names(root_), ElementsAre("v"));
}

TEST_F(Domains, WideAndDeepTreeIsDestroyedWhole) {
    for (int i = 0; i < 20; ++i) {
        Domain& domain = root_.add_domain(numbered("d", i));
        for (int j = 0; j < 20; ++j) {
            domain.add_domain(numbered("e", j)).add_variable("v", Value("a text that has its own memory"));
        }
    }
    EXPECT_EQ(root_.get_children().size(), 20U);
}

TEST_F(Domains, ItemsAreTheChildrenInTheirOrder) {
    EXPECT_TRUE(root_.items().empty());
    root_.add_variable("b", Value(1));
    root_.add_domain("a");
    root_.add_variable("c", Value(2));
    std::vector<std::string> names;
    for (Item& item : root_.items()) {
        item.set_description("seen");
        names.push_back(item.get_name());
    }
    EXPECT_THAT(names, ElementsAre("b", "a", "c"));
    for (const Item& item : std::as_const(root_).items()) {
        EXPECT_EQ(item.get_description(), "seen");
    }
    EXPECT_EQ(root_.items().size(), 3U);
    EXPECT_EQ(&root_.items()[2], root_.find_item("c"));
    EXPECT_EQ(root_.items()[root_.items().size() - 1].get_name().as_string(), "c");
}

TEST_F(Domains, ItemsOfAConstantDomainAreConstant) {
    static_assert(std::is_same_v<decltype(*root_.items().begin()), Item&>);
    static_assert(std::is_same_v<decltype(*std::as_const(root_).items().begin()), const Item&>);
    static_assert(std::ranges::random_access_range<ItemRange<Item>>);
    static_assert(std::ranges::sized_range<ItemRange<const Item>>);
    root_.add_variable("a", Value(1));
    root_.add_domain("b");
    const auto items = std::as_const(root_).items();
    const auto found =
        std::ranges::find(items, ITEM_TYPE::DOMAIN, [](const Item& item) { return item.get_item_type(); });
    EXPECT_EQ(found->get_name().as_string(), "b");
    EXPECT_EQ(found - items.begin(), 1);
}

TEST_F(Domains, ClearRemovesAllBelow) {
    root_.clear();
    root_.add_domain("a").add_domain("b").add_variable("c", Value(1));
    root_.add_variable("d", Value(1));
    root_.clear();
    EXPECT_TRUE(root_.is_empty());
    EXPECT_EQ(root_.find_item("a/b/c"), nullptr);
    root_.add_variable("d", Value(2));
    EXPECT_THAT(get_child_names(root_), ElementsAre("d"));
}

TEST_F(Domains, ChosenChildrenAreRemoved) {
    EXPECT_EQ(root_.remove_if([](const Item&) { return true; }), 0U);
    for (int i = 0; i < 100; ++i) {
        root_.add_variable(std::to_string(i), Value(i));
    }
    const auto is_odd = [](const Item& item) {
        return std::get<int>(static_cast<const Variable&>(item).get_value()) % 2 == 1;
    };
    EXPECT_EQ(root_.remove_if(is_odd), 50U);
    EXPECT_EQ(root_.items().size(), 50U);
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(root_.find_item(std::to_string(i)) != nullptr, i % 2 == 0) << i;
    }
    EXPECT_EQ(root_.items()[1].get_name().as_string(), "2");
    EXPECT_EQ(root_.remove_if(is_odd), 0U);
    root_.add_variable("1", Value(1));
    EXPECT_EQ(root_.items()[root_.items().size() - 1].get_name().as_string(), "1");
}

TEST_F(Domains, FailureToChooseRemovesNothing) {
    for (int i = 0; i < 20; ++i) {
        root_.add_variable(std::to_string(i), Value(i));
    }
    int calls = 0;
    EXPECT_THROW(root_.remove_if([&](const Item&) {
        if (++calls == 10) {
            throw std::runtime_error("no");
        }
        return true;
    }),
                 std::runtime_error);
    EXPECT_EQ(root_.items().size(), 20U);
    bool is_removed = false;
    const std::function<bool(const Item&)> all = [](const Item&) { return true; };
    for (std::size_t successes = 0; !is_removed; ++successes) {
        try {
            const testing::AllocationFailure failure(successes);
            root_.remove_if(all);
            is_removed = true;
        } catch (const std::bad_alloc&) {
            ASSERT_EQ(root_.items().size(), 20U);
            ASSERT_NE(root_.find_item("19"), nullptr);
        }
    }
    EXPECT_TRUE(root_.is_empty());
}

namespace {

/// How much processor time it takes to remove that many children, least of some tries.
template <class Remove>
std::clock_t time_removal(int count, Remove remove) {
    auto least = std::numeric_limits<std::clock_t>::max();
    for (int attempt = 0; attempt < 5; ++attempt) {
        InformationModel model("plant");
        for (int i = 0; i < count; ++i) {
            model.get_root().add_variable(std::to_string(i), Value(i));
        }
        const std::clock_t start = std::clock();
        remove(model.get_root());
        least = std::min(least, std::clock() - start);
        EXPECT_TRUE(model.get_root().is_empty());
    }
    return least;
}

}  // namespace

TEST_F(Domains, RemovalTakesTheSameTimeInEitherOrder) {
    constexpr int COUNT = 8'000;
    const auto back_to_front = time_removal(COUNT, [](Domain& root) {
        for (int i = COUNT; i-- > 0;) {
            root.remove(std::to_string(i));
        }
    });
    const auto front_to_back = time_removal(COUNT, [](Domain& root) {
        for (int i = 0; i < COUNT; ++i) {
            root.remove(std::to_string(i));
        }
    });
    const auto at_once =
        time_removal(COUNT, [](Domain& root) { root.remove_if([](const Item&) { return true; }); });
    EXPECT_LT(front_to_back, 5 * back_to_front);
    EXPECT_LT(at_once, 5 * back_to_front);
}

TEST_F(Domains, LimitsOfATypedVariableHaveItsType) {
    EXPECT_THROW(root_.add<double>("a", 1.0, {.range = {.lower = Value(0)}}), BadValueTypeException);
    EXPECT_THROW(root_.add<double>("a", 1.0, {.range = {.upper = Value("x")}}), BadValueTypeException);
    try {
        root_.add<std::vector<double>>("a", {1.0}, {.delta = Value(std::vector<double>{1.0})});
        FAIL() << "nothing thrown";
    } catch (const BadValueTypeException& error) {
        EXPECT_EQ(error.get_details(), "delta of variable \"a\" must be DOUBLE, but is array of DOUBLE");
    }
    EXPECT_TRUE(root_.is_empty());
    root_.add<std::vector<double>>("a", {1.0}, {.delta = Value(0.5)});
    EXPECT_EQ(root_.find_variable("a")->get_delta(), Value(0.5));
}

}  // namespace kx::information_model
