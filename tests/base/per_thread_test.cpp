#include "base/PerThread.h"
#include "support/TestThreads.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>

namespace kx::information_model::opc {
namespace {

using testing::TestThreads;

std::atomic<int> living{0};
std::atomic<int> refusals{0};

struct Counted {
    Counted() {
        if (refusals > 0) {
            --refusals;
            throw std::runtime_error("not now");
        }
        ++living;
    }
    Counted(const Counted&) = delete;
    Counted& operator=(const Counted&) = delete;
    ~Counted() { --living; }

    int number = 0;
};

PerThread<Counted>& get_objects() {
    static PerThread<Counted> objects;
    return objects;
}

TEST(PerThread, IsTheSameForAThreadAndAnotherForTheNext) {
    TestThreads([] {
        Counted* const first = &get_objects().get();
        first->number = 7;
        EXPECT_EQ(&get_objects().get(), first);
        TestThreads([first] {
            EXPECT_NE(&get_objects().get(), first);
            EXPECT_EQ(get_objects().get().number, 0);
            EXPECT_EQ(living, 2);
        }).join();
        EXPECT_EQ(living, 1);
    }).join();
}

TEST(PerThread, EndsWithItsThread) {
    for (int round = 0; round < 10; ++round) {
        TestThreads([] { EXPECT_EQ(get_objects().get().number, 0); }).join();
        EXPECT_EQ(living, 0);
    }
}

TEST(PerThread, IsMadeLaterWhenItCouldNotBeMade) {
    TestThreads([] {
        refusals = 1;
        EXPECT_THROW(get_objects().get(), std::runtime_error);
        EXPECT_EQ(get_objects().get().number, 0);
    }).join();
    EXPECT_EQ(living, 0);
}

}  // namespace
}  // namespace kx::information_model::opc
