#include "services/BrowseFilter.h"

#include <information_model/SymbolInfo.h>

#include <gtest/gtest.h>

namespace kx::information_model::symbol_list {
namespace {

TEST(BrowseFilter, HasThreeSymbolsWithoutDescription) {
    using Filters = SymbolList<BROWSE_FILTER>;
    const std::vector<std::string> names = {"all", "branch", "item"};
    EXPECT_EQ(Filters::get_list_name(), "browseFilter");
    ASSERT_EQ(Filters::get_symbols().size(), names.size());
    for (std::size_t position = 0; position < names.size(); ++position) {
        const Symbol& symbol = Filters::get_symbols()[position];
        EXPECT_EQ(symbol.value, position);
        EXPECT_EQ(symbol.name, names[position]);
        EXPECT_EQ(symbol.description, "");
    }
}

TEST(BrowseFilter, IsASymbolListLikeAnyOther) {
    SymbolInfo filter(BROWSE_FILTER::ALL);
    EXPECT_EQ(filter.get_value(), 0U);
    filter.set_value("item");
    EXPECT_EQ(filter.get_value(), static_cast<std::uint32_t>(BROWSE_FILTER::ITEM));
    EXPECT_THROW(filter.set_value("Item"), std::invalid_argument);
}

}  // namespace
}  // namespace kx::information_model::symbol_list
