#include "support/HostProcess.h"
#include "xmlda_program.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace xmlda::testing {
namespace {

using ::testing::ContainsRegex;
using ::testing::HasSubstr;

/// The program beside the example that people try it with first.
class Plant : public ::testing::Test {
protected:
    Outcome run(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin() + 1, plant_.get_url());
        Outcome outcome = run_xmlda(arguments);
        EXPECT_EQ(outcome.errors, "");
        EXPECT_EQ(outcome.status, 0);
        return outcome;
    }

    kx::information_model::opc::testing::HostProcess plant_{{PLANT_PROGRAM, "--port", "0"}};
};

TEST_F(Plant, IsBrowsed) {
    const std::string output = run({"browse", "--recursive"}).output;

    EXPECT_THAT(output, HasSubstr("├── boiler/                   /boiler\n"
                                  "│   ├── mode                  /boiler/mode\n"));
    EXPECT_THAT(output, HasSubstr("    │   └── reading           /instruments/thermometer_4/reading\n"
                                  "    └── thermometer_5         /instruments/thermometer_5\n"));
}

TEST_F(Plant, AllItemsAreReadByTheirNames) {
    std::vector<std::string> arguments = {"read", "--json"};
    std::string names = run({"browse", "--recursive", "--names"}).output;
    std::size_t count = 0;
    for (std::size_t end = names.find('\n'); end != std::string::npos; end = names.find('\n')) {
        arguments.push_back(names.substr(0, end));
        names.erase(0, end + 1);
        ++count;
    }
    const std::string output = run(arguments).output;

    EXPECT_GT(count, 40U);
    EXPECT_THAT(output,
                HasSubstr("\"item\": \"/maintenance/reminders\",\n    \"value\": [\n      \"P7D\",\n"));
}

TEST_F(Plant, IsWrittenTo) {
    const std::string output =
        run({"write", "/boiler/mode=manual", "/boiler/temperature_setpoint=190"}).output;

    EXPECT_THAT(output, ContainsRegex("^/boiler/mode                  1           int     2[^ ]*Z\n"
                                      "/boiler/temperature_setpoint  190.000000  double  2[^ ]*Z\n$"));
    plant_.get_process().wait_for_output("/boiler/mode");
}

TEST_F(Plant, IsWatched) {
    const std::string output =
        run({"watch", "/boiler/temperature", "--interval", "50ms", "--count", "3"}).output;

    EXPECT_THAT(output, ContainsRegex("^(2[^ ]*Z  /boiler/temperature  1[0-9.]*\n){3}$"));
}

}  // namespace
}  // namespace xmlda::testing
