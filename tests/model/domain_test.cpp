#include <information_model/Domain.h>
#include <information_model/InformationModel.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
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

class DomainTest : public ::testing::Test {
protected:
    InformationModel model_{"plant"};
    Domain& root_ = model_.get_root();
};

}  // namespace

TEST_F(DomainTest, HasDefaults) {
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

TEST_F(DomainTest, TakesItsOptions) {
    const Domain& domain = root_.add_domain("boiler", {.description = "Steam boiler 1",
                                                       .identity = Identity("B-001"),
                                                       .pattern_type = pattern_type::DEVICE});
    EXPECT_EQ(domain.get_description(), "Steam boiler 1");
    EXPECT_TRUE(domain.has_identity());
    EXPECT_EQ(domain.get_identity(), Identity("B-001"));
    EXPECT_EQ(domain.get_pattern_type(), pattern_type::DEVICE);
}

TEST_F(DomainTest, EmptyIdentityIsAnIdentity) {
    EXPECT_TRUE(root_.add_domain("boiler", {.identity = Identity("")}).has_identity());
}

TEST_F(DomainTest, KeepsTheOrderOfItsChildren) {
    root_.add_variable("b", Value(1));
    root_.add_domain("a");
    root_.add_variable("c", Value(1));
    EXPECT_THAT(get_child_names(root_), ElementsAre("b", "a", "c"));
    EXPECT_FALSE(root_.is_empty());
}

TEST_F(DomainTest, ChildrenAreItems) {
    root_.add_variable("v", Value(1));
    root_.add_domain("d");
    const auto children = root_.get_children();
    EXPECT_EQ(dynamic_cast<const Item&>(*children[0]).get_item_type(), ITEM_TYPE::VARIABLE);
    EXPECT_EQ(dynamic_cast<const Item&>(*children[1]).get_item_type(), ITEM_TYPE::DOMAIN);
    EXPECT_EQ(static_cast<int>(ITEM_TYPE::DOMAIN), 0);
    EXPECT_EQ(static_cast<int>(ITEM_TYPE::VARIABLE), 1);
}

TEST_F(DomainTest, ReferencesStayValidWhileOthersAreAddedAndRemoved) {
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

TEST_F(DomainTest, MalformedNamesAreRefusedAndNamed) {
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

TEST_F(DomainTest, TakenNamesAreRefusedAndNamed) {
    root_.add_variable("level", Value(1));
    EXPECT_EQ(get_message([&] { root_.add_variable("level", Value(2)); }), "Name already taken: \"level\"");
    EXPECT_EQ(get_message([&] { root_.add_domain("level"); }), "Name already taken: \"level\"");
    EXPECT_THAT(get_child_names(root_), ElementsAre("level"));
    EXPECT_EQ(dynamic_cast<const Variable&>(root_.get_item(Path("level"), false)).get_value(), Value(1));
}

TEST_F(DomainTest, SameNameIsFreeInAnotherDomain) {
    root_.add_domain("a").add_domain("a").add_variable("a", Value(1));
    EXPECT_EQ(root_.get_item(Path("a/a/a"), false).get_path(), Path("/a/a/a"));
}

TEST_F(DomainTest, RemovedChildIsGoneWithAllBelow) {
    root_.add_domain("a").add_domain("b").add_variable("c", Value(1));
    root_.add_variable("d", Value(1));
    root_.remove("a");
    EXPECT_THAT(get_child_names(root_), ElementsAre("d"));
    EXPECT_THROW(root_.get_item(Path("a"), false), PathNotFoundException);
    EXPECT_THROW(root_.get_item(Path("a/b/c"), false), PathNotFoundException);
}

TEST_F(DomainTest, RemovedNameIsFreeAgainAndComesLast) {
    root_.add_variable("a", Value(1));
    root_.add_variable("b", Value(1));
    root_.remove("a");
    root_.add_domain("a");
    EXPECT_THAT(get_child_names(root_), ElementsAre("b", "a"));
}

TEST_F(DomainTest, RemovingTheLastChildEmptiesTheDomain) {
    root_.add_variable("a", Value(1));
    root_.remove("a");
    EXPECT_TRUE(root_.is_empty());
    root_.add_variable("a", Value(2));
    EXPECT_FALSE(root_.is_empty());
}

TEST_F(DomainTest, RemovingWhatIsNotThereIsRefusedAndNamed) {
    EXPECT_EQ(get_message([&] { root_.remove("x"); }), "No such child: \"x\"");
    root_.add_domain("a").add_variable("b", Value(1));
    EXPECT_EQ(get_message([&] { root_.remove("a/b"); }), "No such child: \"a/b\"");
    EXPECT_THAT(get_child_names(root_), ElementsAre("a"));
}

TEST_F(DomainTest, FailureToAddChangesNothing) {
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

TEST_F(DomainTest, DeepTreeIsDestroyedWithoutRecursion) {
    Domain* domain = &root_;
    for (int i = 0; i < 100'000; ++i) {
        domain->add_variable("v", Value(i));
        domain = &domain->add_domain("d");
        domain->add_variable("w", Value(i));
    }
    root_.remove("d");
    EXPECT_THAT(get_child_names(root_), ElementsAre("v"));
}

TEST_F(DomainTest, WideAndDeepTreeIsDestroyedWhole) {
    for (int i = 0; i < 20; ++i) {
        Domain& domain = root_.add_domain(numbered("d", i));
        for (int j = 0; j < 20; ++j) {
            domain.add_domain(numbered("e", j)).add_variable("v", Value("a text that has its own memory"));
        }
    }
    EXPECT_EQ(root_.get_children().size(), 20U);
}

}  // namespace kx::information_model
