#include <information_model/InformationModel.h>

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace kx::information_model {

TEST(InformationModel, RootBearsTheName) {
    const InformationModel model("plant");
    EXPECT_EQ(model.get_root().get_name().as_string(), "plant");
    EXPECT_EQ(model.get_root().get_path(), Path("/"));
    EXPECT_TRUE(model.get_root().is_empty());
}

TEST(InformationModel, TreeAndRootAreTheSameNode) {
    InformationModel model("plant");
    EXPECT_EQ(&model.get_information_tree(), &model.get_root());
    const InformationModel& constant = model;
    EXPECT_EQ(&constant.get_information_tree(), &constant.get_root());
    EXPECT_EQ(&dynamic_cast<Item&>(model.get_information_tree()), &model.get_root());
}

TEST(InformationModel, MalformedNameIsRefusedAndNamed) {
    try {
        const InformationModel model("a/b");
        FAIL() << "nothing thrown";
    } catch (const std::invalid_argument& error) {
        EXPECT_STREQ(error.what(), "Invalid name: \"a/b\"");
    }
    EXPECT_THROW(InformationModel(""), std::invalid_argument);
}

TEST(InformationModel, NameConvertsToItsText) {
    const InformationModel model("plant");
    const std::string& text = model.get_root().get_name();
    EXPECT_EQ(text, "plant");
}

TEST(InformationModel, RootTakesOptions) {
    const InformationModel model("plant", {.description = "North", .identity = Identity("P-1")});
    EXPECT_EQ(model.get_root().get_name().as_string(), "plant");
    EXPECT_EQ(model.get_root().get_description(), "North");
    EXPECT_EQ(model.get_root().get_identity(), Identity("P-1"));
    EXPECT_THROW(InformationModel("a/b", {.description = "North"}), std::invalid_argument);
}

}  // namespace kx::information_model
