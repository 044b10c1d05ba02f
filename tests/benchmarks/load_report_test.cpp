#include "load/Arguments.h"
#include "load/Report.h"
#include "load/Suite.h"
#include "load/goals.h"
#include "load/plot_data.h"
#include "load/turns.h"

#include <gmock/gmock.h>

#include <sstream>

namespace kx::benchmarks {

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

Report create_report(double time, double floor) {
    return {{"a machine"},
            {{std::string(SERVICES_TITLE),
              "CPU us",
              {"CPU us", "floor us", "peer us"},
              {{"Read 100", {time, floor, std::nullopt}}}}}};
}

TEST(LoadReport, FindsAFigure) {
    const Report report = create_report(50, 10);
    EXPECT_EQ(report.find(SERVICES_TITLE, "Read 100", "floor us"), 10);
    EXPECT_EQ(report.find(SERVICES_TITLE, "Read 100", "peer us"), std::nullopt);
    EXPECT_EQ(report.find(SERVICES_TITLE, "Read 7", "floor us"), std::nullopt);
    EXPECT_EQ(report.find("Elsewhere", "Read 100", "floor us"), std::nullopt);
}

TEST(LoadReport, ComesBackFromJson) {
    const Report report = from_json(to_json(create_report(50.5, 10)));
    EXPECT_THAT(report.notes, ElementsAre("a machine"));
    EXPECT_EQ(report.sections.at(0).key, "CPU us");
    EXPECT_EQ(report.find(SERVICES_TITLE, "Read 100", "CPU us"), 50.5);
    EXPECT_EQ(report.find(SERVICES_TITLE, "Read 100", "peer us"), std::nullopt);
}

TEST(LoadReport, TakesTheMediansOfGoogleBenchmark) {
    const Report report = from_json(R"({"context": {}, "benchmarks": [
        {"name": "a", "run_name": "parse/1000", "aggregate_name": "mean", "cpu_time": 7, "time_unit": "ms"},
        {"name": "b", "run_name": "parse/1000", "aggregate_name": "median", "cpu_time": 6, "time_unit": "ms",
         "allocations": NaN, "item": -Infinity}]})");
    EXPECT_EQ(report.sections.at(0).rows.size(), 1U);
    EXPECT_EQ(report.find("The parts alone", "parse/1000", "us"), 6000);
}

TEST(LoadReport, TakesManualTimesOfGoogleBenchmark) {
    const Report report = from_json(R"({"benchmarks": [{"run_name": "poll/100/manual_time", "real_time": 5,
                                                        "cpu_time": 9, "time_unit": "us"}]})");
    EXPECT_EQ(report.find("The parts alone", "poll/100", "us"), 5);
}

TEST(LoadReport, ComparesTimesAndTimesInFloors) {
    const Report result = compare(create_report(100, 10), create_report(100, 20));
    EXPECT_EQ(result.sections.at(0).rows.at(0).name, "Read 100");
    EXPECT_THAT(result.sections.at(0).rows.at(0).values, ElementsAre(100, 100, 1, 0.5));
}

TEST(LoadReport, ComparesOnlyWhatBothHave) {
    EXPECT_TRUE(compare(Report(), create_report(1, 1)).sections.empty());
}

TEST(LoadReport, PrintsATable) {
    std::ostringstream text;
    print(create_report(50.125, 10), text);
    EXPECT_EQ(text.str(),
              "a machine\n\n"
              "Services         CPU us     floor us      peer us\n"
              "  Read 100        50.12           10            -\n");
}

TEST(LoadReport, PlotDataAreTimesPerItem) {
    EXPECT_THAT(create_plot_data(create_report(50, 10)), HasSubstr("\n100 0.500000 0.100000 ?\n"));
}

TEST(LoadReport, GoalsAreThoseThatWereMeasured) {
    const Report report{{}, {{std::string(SERVICES_TITLE), "CPU us", {"above us"}, {{"Read 1", {12}}}}}};
    const Section goals = create_goals(report);
    EXPECT_EQ(goals.rows.size(), 1U);
    EXPECT_EQ(goals.find("Read 1: us above the floor", "measured"), 12);
    EXPECT_EQ(goals.find("Read 1: us above the floor", "at most"), 20);
}

TEST(Median, IsTheMiddle) {
    EXPECT_EQ(get_median({5, 1, 9}), 5);
    EXPECT_EQ(get_median({5, 1, 9, 6}), 5.5);
}

TEST(LoadArguments, AreTaken) {
    const Arguments arguments =
        parse_arguments({"--quick", "--filter", "Read", "--include", "a", "--include", "b"});
    EXPECT_TRUE(arguments.suite.quick);
    EXPECT_TRUE(arguments.suite.with_peer);
    EXPECT_EQ(arguments.suite.filter, "Read");
    EXPECT_THAT(arguments.include_files, ElementsAre("a", "b"));
}

TEST(LoadArguments, RefuseTheUnknownAndTheIncomplete) {
    EXPECT_THROW(parse_arguments({"--fast"}), std::invalid_argument);
    EXPECT_THROW(parse_arguments({"--filter"}), std::invalid_argument);
}

}  // namespace

}  // namespace kx::benchmarks
