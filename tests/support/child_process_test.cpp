#include "support/ChildProcess.h"

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <string>

namespace kx::information_model::opc::testing {
namespace {

/// Kills a program that has printed this to standard error, which nobody has read.
void kill_program_that_said(const std::string& text) {
    ChildProcess program({"/bin/sh", "-c", "echo '" + text + "' >&2; echo done; exec sleep 600"});
    program.wait_for_output("done");
}

TEST(ChildProcess, FailsTheTestForWhatASanitizerReports) {
    EXPECT_NONFATAL_FAILURE(kill_program_that_said("WARNING: ThreadSanitizer: data race (pid=1)"),
                            "data race");
    EXPECT_NONFATAL_FAILURE(kill_program_that_said("ERROR: AddressSanitizer: heap-use-after-free"),
                            "use-after");
    EXPECT_NONFATAL_FAILURE(kill_program_that_said("a.cpp:1:2: runtime error: division by zero"), "division");
    kill_program_that_said("error not found:x");
}

}  // namespace
}  // namespace kx::information_model::opc::testing
