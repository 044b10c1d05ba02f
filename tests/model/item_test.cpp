#include <information_model/InformationModel.h>
#include <information_model/Item.h>

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "model/AllocationControl.h"
#include "model/numbered.h"

namespace kx::information_model {

using testing::numbered;

namespace {

class Items : public ::testing::Test {
protected:
    const Item& find(const Item& start, const char* path) { return start.get_item(Path(path), false); }

    InformationModel model_{"plant"};
    Domain& root_ = model_.get_root();
    Domain& boiler_ = root_.add_domain("boiler");
    Domain& drum_ = boiler_.add_domain("drum");
    Variable& level_ = drum_.add_variable("level", Value(1.5));
};

}  // namespace

TEST_F(Items, PathsAreAbsolute) {
    EXPECT_EQ(root_.get_path().as_string(), "/");
    EXPECT_EQ(boiler_.get_path().as_string(), "/boiler");
    EXPECT_EQ(level_.get_path().as_string(), "/boiler/drum/level");
}

TEST_F(Items, AbsolutePathStartsAtTheRoot) {
    EXPECT_EQ(&find(root_, "/boiler/drum/level"), &level_);
    EXPECT_EQ(&find(drum_, "/boiler/drum/level"), &level_);
    EXPECT_EQ(&find(level_, "/boiler"), &boiler_);
    EXPECT_EQ(&find(drum_, "/"), &root_);
    EXPECT_EQ(&find(root_, "/"), &root_);
}

TEST_F(Items, OtherPathsStartAtTheItem) {
    EXPECT_EQ(&find(root_, "boiler/drum"), &drum_);
    EXPECT_EQ(&find(root_, "./boiler/drum"), &drum_);
    EXPECT_EQ(&find(boiler_, "drum/level"), &level_);
    EXPECT_EQ(&find(drum_, "./level"), &level_);
    EXPECT_THROW(find(boiler_, "boiler"), PathNotFoundException);
}

TEST_F(Items, DotIsTheItemItself) {
    EXPECT_EQ(&find(root_, "."), &root_);
    EXPECT_EQ(&find(drum_, "."), &drum_);
    EXPECT_EQ(&find(level_, "."), &level_);
}

TEST_F(Items, OwnPathLeadsBack) {
    for (const Item* item : {static_cast<const Item*>(&root_), static_cast<const Item*>(&drum_),
                             static_cast<const Item*>(&level_)}) {
        EXPECT_EQ(&root_.get_item(item->get_path(), false), item);
    }
}

TEST_F(Items, NothingStandsBelowAVariable) {
    EXPECT_THROW(find(root_, "/boiler/drum/level/x"), PathNotFoundException);
    EXPECT_THROW(find(level_, "x"), PathNotFoundException);
}

TEST_F(Items, MissingPathIsNamedAsGiven) {
    try {
        find(root_, "./boiler/pump/speed");
        FAIL() << "nothing thrown";
    } catch (const PathNotFoundException& error) {
        EXPECT_STREQ(error.what(), "Path not found: ./boiler/pump/speed");
    }
}

TEST_F(Items, NamesAreComparedExactly) {
    for (const char* path : {"/Boiler", "/boile", "/boilers", "/boiler ", "/boiler/drum/levels"}) {
        EXPECT_THROW(find(root_, path), PathNotFoundException) << path;
    }
}

TEST_F(Items, ChangeableItemGivesAChangeableOne) {
    Item& item = root_.get_item(Path("/boiler/drum/level"), false);
    dynamic_cast<Variable&>(item) = Value(2.5);
    EXPECT_EQ(level_.get_value(), Value(2.5));
}

TEST_F(Items, DescriptionIsEmptyUnlessGiven) {
    EXPECT_EQ(drum_.get_description(), "");
    EXPECT_EQ(drum_.add_variable("a", Value(1), {.description = "Text"}).get_description(), "Text");
}

TEST_F(Items, LookUpAllocatesNothing) {
    for (int i = 0; i < 100; ++i) {
        drum_.add_variable(numbered("a variable with a long name ", i), Value(i));
    }
    const Path path("/boiler/drum/a variable with a long name 77");
    const testing::AllocationCounter counter;
    const Item& item = root_.get_item(path, false);
    EXPECT_EQ(counter.get_count(), 0U);
    EXPECT_EQ(item.get_path(), path);
}

TEST_F(Items, FoundItemIsTheOneThatGetItemGives) {
    for (const char* path : {"/", ".", "/boiler/drum/level", "boiler", "./boiler/drum"}) {
        EXPECT_EQ(root_.find_item(path), &find(root_, path)) << path;
        EXPECT_EQ(std::as_const(root_).find_item(path), &find(root_, path)) << path;
        EXPECT_EQ(root_.find_item(Path(path)), &find(root_, path)) << path;
        EXPECT_EQ(std::as_const(root_).find_item(Path(path)), &find(root_, path)) << path;
    }
    EXPECT_EQ(level_.find_item("."), &level_);
    EXPECT_EQ(drum_.find_item("level"), &level_);
    EXPECT_EQ(level_.find_item("/boiler"), &boiler_);
}

TEST_F(Items, MissingItemIsNull) {
    for (const char* path : {"/boilers", "drum", "/boiler/drum/level/x", "./boiler/x/level"}) {
        EXPECT_EQ(root_.find_item(path), nullptr) << path;
        EXPECT_EQ(root_.find_item(Path(path)), nullptr) << path;
    }
    EXPECT_EQ(level_.find_item("x"), nullptr);
}

TEST_F(Items, MalformedTextIsNotLookedUp) {
    for (const char* path : {"", "/boiler/", "//boiler", "/boiler/..", "boiler/./drum", "\t", "boiler\xFF"}) {
        EXPECT_THROW(root_.find_item(path), InvalidPathException) << path;
        EXPECT_THROW(std::as_const(root_).find_item(path), InvalidPathException) << path;
        EXPECT_THROW(root_.find_variable(path), InvalidPathException) << path;
    }
}

TEST_F(Items, VariableIsFoundAsOne) {
    EXPECT_EQ(root_.find_variable("/boiler/drum/level"), &level_);
    EXPECT_EQ(std::as_const(root_).find_variable("/boiler/drum/level"), &level_);
    EXPECT_EQ(boiler_.find_variable(Path("drum/level")), &level_);
    EXPECT_EQ(std::as_const(boiler_).find_variable(Path("drum/level")), &level_);
    EXPECT_EQ(root_.find_variable("/boiler/drum"), nullptr);
    EXPECT_EQ(root_.find_variable("/boiler/drum/x"), nullptr);
    EXPECT_EQ(root_.find_variable(Path("/boiler")), nullptr);
}

TEST_F(Items, FindingAllocatesNothing) {
    for (int i = 0; i < 100; ++i) {
        drum_.add_variable(numbered("a variable with a long name ", i), Value(i));
    }
    const Path path("/boiler/drum/a variable with a long name 77");
    const testing::AllocationCounter counter;
    const Variable* found = root_.find_variable(path.as_string());
    const Item* missing = root_.find_item("/boiler/drum/a variable with a long name that is not there");
    EXPECT_EQ(counter.get_count(), 0U);
    EXPECT_EQ(missing, nullptr);
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(found->get_path(), path);
}

TEST_F(Items, LongPathsAreWalked) {
    Domain* domain = &root_;
    std::string text;
    for (int i = 0; i < 10'000; ++i) {
        domain = &domain->add_domain("d");
        text += "/d";
    }
    EXPECT_EQ(&find(root_, text.c_str()), domain);
    EXPECT_EQ(domain->get_path().as_string(), text);
}

}  // namespace kx::information_model
