#include "gateway/soap/times.h"

#include <chrono>
#include <string>

#include <gtest/gtest.h>

namespace gateway {
namespace {

using namespace std::chrono_literals;
using std::chrono::system_clock;

TEST(DateTime, IsWrittenInUtcWithMilliseconds) {
    EXPECT_EQ(to_date_time(system_clock::time_point(1'700'000'000'007ms)), "2023-11-14T22:13:20.007Z");
    EXPECT_EQ(to_date_time(system_clock::time_point(0ms)), "1970-01-01T00:00:00.000Z");
}

TEST(DateTime, IsReadWithAndWithoutZone) {
    const system_clock::time_point time(1'700'000'000'500ms);
    for (const char* const text : {"2023-11-14T22:13:20.5Z", "2023-11-14T22:13:20.500",
                                   "2023-11-14T23:13:20.5+01:00", "2023-11-14T16:43:20.50-05:30"}) {
        ASSERT_TRUE(parse_date_time(text)) << text;
        EXPECT_EQ(std::chrono::round<std::chrono::milliseconds>(*parse_date_time(text)), time) << text;
    }
}

TEST(DateTime, OtherTextsAreNone) {
    for (const std::string text :
         {"", "now", "2023-11-14", "2023-13-14T00:00:00Z", "2023-02-30T00:00:00Z", "2023-11-14T25:00:00Z",
          "2023-11-14T00:61:00Z", "2023-11-14T00:00:00X", "2023-11-14T00:00:00+1", "2023-11-14T00:00:nanZ",
          "2023-11-14T00:00:1e300Z"}) {
        EXPECT_FALSE(parse_date_time(text)) << text;
    }
}

}  // namespace
}  // namespace gateway
