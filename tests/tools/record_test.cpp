#include "Host.h"
#include "xmlda_program.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <Poco/TemporaryFile.h>

#include <algorithm>
#include <csignal>
#include <string>
#include <vector>

namespace xmlda::testing {
namespace {

using kx::information_model::Value;
using kx::information_model::symbol_list::QUALITY;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;

/// The program records from a server in the test's process into a file in a folder of its own.
class RecordProgram : public ::testing::Test {
protected:
    RecordProgram() { folder_.createDirectories(); }

    std::string get_file() const { return folder_.path() + "/record.db"; }

    std::vector<std::string> get_command(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(),
                         {"record", host_.get_url(), "--database", get_file(), "--interval", "20ms"});
        return get_xmlda_command(arguments);
    }

    Outcome replay(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), {"replay", "--database", get_file()});
        return run_xmlda(arguments);
    }

    Host host_;
    Poco::TemporaryFile folder_;
};

TEST_F(RecordProgram, StoresChangesUntilInterrupted) {
    ChildProcess record(get_command({"/boiler/temperature", "/boiler/kind"}));
    record.wait_for_output("recorded 2 changes, 2 in all");
    host_.set("boiler/temperature", Value(22.5));
    record.wait_for_output("recorded 1 change, 3 in all");
    host_.set_quality("boiler/temperature", QUALITY::BAD_SENSOR_FAILURE);
    record.wait_for_output("4 in all");
    record.send_signal(SIGINT);
    const Outcome outcome = record.wait();

    EXPECT_EQ(outcome.errors, "");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.output, MatchesRegex("(2[^ ]*Z  recorded [12] changes?, [234] in all\n)+"));
    EXPECT_EQ(replay({}).output, HOST_TIME + "  /boiler/temperature  21.5\n" + HOST_TIME +
                                     "  /boiler/kind         1\n" + HOST_TIME +
                                     "  /boiler/temperature  22.5\n" + HOST_TIME +
                                     "  /boiler/temperature  22.5  badSensorFailure\n");
}

TEST_F(RecordProgram, KeepsWhatItHasSaidWhenItIsKilled) {
    ChildProcess record(get_command({"/boiler/temperature"}));
    record.wait_for_output("1 in all");
    for (int i = 1; i <= 20; ++i) {
        host_.set("boiler/temperature", Value(i * 1.0));
        record.wait_for_output(std::to_string(i + 1) + " in all");
    }
    record.send_signal(SIGKILL);
    record.wait();
    const std::string rows = replay({"--format", "csv"}).output;

    EXPECT_EQ(std::count(rows.begin(), rows.end(), '\n'), 22);
    EXPECT_THAT(rows, HasSubstr("/boiler/temperature," + HOST_TIME + ",20,double,degC,good,,2"));
    // Nothing is left behind that would keep the next one from recording.
    ChildProcess next(get_command({"/boiler/temperature"}));
    next.wait_for_output("recorded 1 change, 1 in all");
}

TEST_F(RecordProgram, IsReplayedInAllFormats) {
    ChildProcess record(get_command({"-r", "/boiler", "/texts/note"}));
    record.wait_for_output("recorded 7 changes");
    record.send_signal(SIGTERM);
    EXPECT_EQ(record.wait().status, 0);

    const Outcome csv = replay({"--format", "csv", "/boiler/z*"});
    EXPECT_THAT(csv.output,
                MatchesRegex("item,time,value,type,unit,quality,result,recorded\r\n/boiler/zones," +
                             HOST_TIME + ",\"\\[1.500000,2.500000\\]\",ArrayOfDouble,,good,,2[^,]*Z\r\n"));
    EXPECT_EQ(replay({"--format", "influx", "/boiler/kind"}).output,
              "xmlda,item=/boiler/kind value_integer=1i,symbol=\"historyAvailable\",quality=\"good\" "
              "1767323045000000000\n");
    EXPECT_THAT(replay({"--json", "-r", "/texts"}).output,
                MatchesRegex("\\{\"item\":\"/texts/note\",\"value\":\"two\\\\nlines\",\"type\":\"string\","
                             "\"timestamp\":\"" +
                             HOST_TIME + "\",\"recorded\":\"2[^\"]*Z\",\"quality\":\"good\"\\}\n"));
    EXPECT_EQ(replay({"--to", "2000-01-01"}).output, "");
    const Outcome unknown = replay({"/nope", "/boiler/burner"});
    EXPECT_EQ(unknown.output, HOST_TIME + "  /boiler/burner  true\n");
    EXPECT_EQ(unknown.errors, "xmlda: /nope: was not recorded\n");
    EXPECT_EQ(unknown.status, 11);
}

TEST_F(RecordProgram, ShowsATableToPeople) {
    ChildProcess record(get_command({"/boiler/temperature"}));
    record.wait_for_output("1 in all");
    record.send_signal(SIGINT);
    record.wait();
    const Outcome outcome = ChildProcess(get_xmlda_command({"replay", "--database", get_file()}),
                                         ChildProcess::Place::TERMINAL, {{"TZ", "UTC-2"}, {"NO_COLOR", "1"}})
                                .wait();

    EXPECT_EQ(outcome.output,
              "Item                 Value      Time\r\n"
              "/boiler/temperature  21.5 degC  2026-01-02 05:04:05.000\r\n");
}

TEST_F(RecordProgram, SaysOnATerminalHowFarItIs) {
    ChildProcess record(get_command({"/boiler/temperature"}), ChildProcess::Place::TERMINAL,
                        {{"TERM", "xterm"}});
    record.wait_for_output("1 change of 1 items recorded, the last at ");
    record.send_signal(SIGINT);

    EXPECT_EQ(record.wait().status, 0);
}

TEST_F(RecordProgram, EndsWhenTheDiskIsFull) {
    // A limit on the size of files, in kB, stands in for the disk. The counts of coverage would be cut off as
    // well: they go nowhere, which is reported behind the program's own line.
    const std::string command = "ulimit -f 100; export GCOV_PREFIX=/dev/null; exec \"$0\" \"$@\"";
    std::vector<std::string> words = get_command({"/texts/note"});
    words.insert(words.begin(), {"/bin/bash", "-c", command});
    ChildProcess record(words);
    record.wait_for_output("1 in all");
    host_.set("texts/note", Value(std::string(1'000'000, 'x')));
    const Outcome outcome = record.wait();

    EXPECT_THAT(outcome.errors, MatchesRegex("xmlda: cannot read or write '" + get_file() +
                                             "': [^\n]+\n(profiling:[^\n]+\n)*"));
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(replay({}).output, HOST_TIME + "  /texts/note  \"two\\nlines\"\n");
}

TEST_F(RecordProgram, RefusesAFileThatIsInUse) {
    ChildProcess first(get_command({"/boiler/temperature"}));
    first.wait_for_output("1 in all");
    const Outcome second = ChildProcess(get_command({"/boiler/burner"})).wait();

    EXPECT_EQ(second.errors, "xmlda: '" + get_file() + "' is in use: another xmlda records into it\n");
    EXPECT_EQ(second.status, 1);
}

}  // namespace
}  // namespace xmlda::testing
