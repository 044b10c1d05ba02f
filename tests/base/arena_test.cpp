#include "base/Arena.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <vector>

namespace kx::information_model::opc {
namespace {

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
    for (std::size_t number = 0; number < 100'000; ++number) {
        given.push_back(static_cast<char*>(arena.allocate(1 + number % 7, 1)));
        *given.back() = static_cast<char>(number % 100);
    }
    for (std::size_t number = 0; number < 100'000; ++number) {
        ASSERT_EQ(*given[number], static_cast<char>(number % 100)) << number;
    }
}

}  // namespace
}  // namespace kx::information_model::opc
