#include "xmlda/record/History.h"
#include "xmlda/Failure.h"
#include "xmlda/print/clock_text.h"
#include "xmlda/record/Recorder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <Poco/TemporaryFile.h>

#include <chrono>
#include <fstream>
#include <string>
#include <vector>

namespace xmlda::testing {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

Value create_scalar(const std::string& type, const std::string& text) {
    return {.type = type, .text = text, .members = {}};
}

ShownItem create_change(const Value& value, const std::string& time = "2026-01-02T03:04:05Z") {
    ShownItem item;
    item.reply.timestamp = time;
    item.reply.value = value;
    item.facts.quality = Quality();
    return item;
}

/// A record in a folder of its own, which goes with the test.
class Record : public ::testing::Test {
protected:
    Record() { folder_.createDirectories(); }

    std::string get_file() const { return folder_.path() + "/record.db"; }

    /// Stores changes one after the other, each in a transaction.
    void record(const std::vector<std::pair<std::string, Value>>& changes) const {
        Recorder recorder(get_file(), std::nullopt);
        for (const auto& [path, value] : changes) {
            recorder.add({path, ""}, create_change(value));
            recorder.commit();
        }
    }

    void change(const std::string& commands) const {
        Database(get_file(), Database::Purpose::LOOK).run(commands.c_str());
    }

    /// "path value" of each change in a span.
    std::vector<std::string> list(const Span& span = {}) const {
        const History history(get_file());
        const auto items = history.list_items();
        std::vector<std::string> lines;
        history.walk(items, span, [&](std::size_t index, const ShownItem& item) {
            lines.push_back(items[index].address.name + ' ' + item.reply.value->text);
        });
        return lines;
    }

    /// What comes back of an item that is recorded.
    ShownItem replay(const ShownItem& item) const {
        {
            Recorder recorder(get_file(), std::nullopt);
            recorder.add({"/a", ""}, item);
            recorder.commit();
        }
        const History history(get_file());
        ShownItem found;
        history.walk(history.list_items(), {},
                     [&found](std::size_t /*index*/, const ShownItem& change) { found = change; });
        return found;
    }

    Poco::TemporaryFile folder_;
};

TEST_F(Record, GivesBackValues) {
    for (const Value& value :
         {create_scalar("double", "178.685956"), create_scalar("float", "-2.5"),
          create_scalar("double", "NaN"), create_scalar("double", "-INF"),
          create_scalar("decimal", "12345678901234567890.123"), create_scalar("long", "-9223372036854775808"),
          create_scalar("unsignedLong", "18446744073709551615"), create_scalar("unsignedByte", "255"),
          create_scalar("string", "two\nlines \"q\" \xC3\xA4"), create_scalar("string", ""),
          create_scalar("string", "1.50"), create_scalar("dateTime", "2026-01-02T03:04:05Z"),
          create_scalar("duration", "P1D"), create_scalar("boolean", "1"), create_scalar("boolean", "0")}) {
        EXPECT_EQ(replay(create_change(value)).reply.value, value) << value.type << ' ' << value.text;
    }
    EXPECT_EQ(replay(create_change(create_scalar("boolean", "true"))).reply.value->text, "1");
    EXPECT_EQ(replay(create_change(create_scalar("double", "21.500000"))).reply.value->text, "21.5");
}

TEST_F(Record, GivesBackArraysAndNothing) {
    Value list = create_scalar("ArrayOfString", "");
    list.kind = Value::Kind::LIST;
    EXPECT_EQ(replay(create_change(list)).reply.value, list);
    list.members = {create_scalar("string", "a, \"b\""), create_scalar("string", "")};
    EXPECT_EQ(replay(create_change(list)).reply.value, list);
    Value nil = create_scalar("double", "");
    nil.kind = Value::Kind::NIL;
    EXPECT_EQ(replay(create_change(nil)).reply.value, nil);
    EXPECT_EQ(replay(ShownItem{}).reply.value, std::nullopt);
}

TEST_F(Record, GivesBackTimesQualitiesUnitsAndSymbols) {
    ShownItem item = create_change(create_scalar("int", "1"), "2026-01-02T03:04:05.123456Z");
    item.facts.unit = "bar";
    item.facts.symbols = {"off", "on"};
    item.reply.quality = Quality{.field = "uncertain", .limit = "high", .vendor = "0"};
    item.reply.result = Result{.code = "S_CLAMP", .text = "clamped"};
    const ShownItem found = replay(item);

    EXPECT_EQ(found.reply.timestamp, "2026-01-02T03:04:05.123456Z");
    EXPECT_TRUE(to_nanoseconds(found.recorded)) << found.recorded;
    EXPECT_EQ(found.get_quality(), item.reply.quality);
    EXPECT_EQ(found.facts.unit, "bar");
    EXPECT_EQ(*found.facts.find_symbol("1"), "on");
    EXPECT_EQ(found.reply.result->code, "S_CLAMP");
    EXPECT_EQ(replay(create_change(create_scalar("int", "1"), "")).reply.timestamp, std::nullopt);
}

TEST_F(Record, ShowsASpanAndWhatHeldAtItsBeginning) {
    record({{"/a", create_scalar("int", "1")},
            {"/b", create_scalar("int", "2")},
            {"/a", create_scalar("int", "3")},
            {"/a", create_scalar("int", "4")},
            {"/b", create_scalar("int", "5")}});
    change(
        "CREATE TEMP TABLE moved AS SELECT recorded AS old, 10 * row_number() OVER (ORDER BY recorded) AS "
        "new "
        "FROM change; UPDATE change SET recorded = (SELECT new FROM moved WHERE old = recorded)");

    EXPECT_THAT(list(), ElementsAre("/a 1", "/b 2", "/a 3", "/a 4", "/b 5"));
    EXPECT_THAT(list({.from = 30, .to = 50}), ElementsAre("/a 1", "/b 2", "/a 3", "/a 4"));
    EXPECT_THAT(list({.from = 15, .to = 20}), ElementsAre("/a 1"));
    EXPECT_THAT(list({.from = 1000}), ElementsAre("/a 4", "/b 5"));
    EXPECT_THAT(list({.to = 20}), ElementsAre("/a 1"));
}

TEST_F(Record, FindsASpanByTheIndex) {
    record({{"/a", create_scalar("int", "1")}});
    const std::string plan = History(get_file()).explain_walk();

    EXPECT_THAT(plan, HasSubstr("SEARCH earlier USING PRIMARY KEY (item=? AND recorded<?)"));
    EXPECT_THAT(plan, HasSubstr("SEARCH change USING PRIMARY KEY (item=? AND recorded>? AND recorded<?)"));
    EXPECT_THAT(plan, Not(HasSubstr("SCAN change")));
    EXPECT_THAT(plan, Not(HasSubstr("SCAN item")));
}

TEST_F(Record, ForgetsWhatIsTooOldButNotWhatStillHolds) {
    record({{"/a", create_scalar("int", "1")},
            {"/a", create_scalar("int", "2")},
            {"/a", create_scalar("int", "3")},
            {"/b", create_scalar("int", "4")}});
    constexpr std::int64_t DAY = 86'400'000'000'000;
    change("UPDATE change SET recorded = recorded - " + std::to_string(31 * DAY) + " WHERE value <> 3");
    {
        Recorder recorder(get_file(), 30 * 24h);
        recorder.commit();
    }
    EXPECT_THAT(list(), ElementsAre("/a 2", "/b 4", "/a 3"));
    {
        Recorder recorder(get_file(), std::nullopt);
        recorder.commit();
    }
    EXPECT_THAT(list(), ElementsAre("/a 2", "/b 4", "/a 3"));
}

template <class Action>
std::string get_reason(Action action) {
    try {
        action();
        return "(taken)";
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.get_status(), ExitStatus::FAILURE);
        return failure.what();
    }
}

TEST_F(Record, RefusesFilesThatAreNone) {
    const std::string file = get_file();
    const auto open_to_record = [&file] { const Recorder recorder(file, std::nullopt); };
    const auto open_to_look = [&file] { const History history(file); };

    EXPECT_EQ(get_reason(open_to_look), "cannot open '" + file + "': No such file or directory");
    std::ofstream(file) << "This is a text, and it is long enough to be taken for one."
                        << std::string(200, 'x');
    EXPECT_EQ(get_reason(open_to_record), "'" + file + "' is not a database");
    EXPECT_EQ(get_reason(open_to_look), "'" + file + "' is not a database");
    EXPECT_EQ(get_reason([this] { const Recorder recorder(folder_.path(), std::nullopt); }),
              "cannot open '" + folder_.path() + "': Is a directory");
}

TEST_F(Record, RefusesDatabasesOfOthers) {
    record({});
    change("PRAGMA application_id = 1");
    EXPECT_EQ(get_reason([this] { const Recorder recorder(get_file(), std::nullopt); }),
              "'" + get_file() + "' is not a record of xmlda but another database");
}

TEST_F(Record, RefusesDatabasesOfOtherVersions) {
    record({});
    change("PRAGMA user_version = 2");
    EXPECT_EQ(get_reason([this] { const History history(get_file()); }),
              "'" + get_file() + "' was made by another version of xmlda");
}

TEST_F(Record, HasOneRecorderAtATime) {
    const Recorder first(get_file(), std::nullopt);
    EXPECT_EQ(get_reason([this] { const Recorder second(get_file(), std::nullopt); }),
              "'" + get_file() + "' is in use: another xmlda records into it");
    EXPECT_EQ(get_reason([this] { const History reader(get_file()); }), "(taken)");
}

}  // namespace
}  // namespace xmlda::testing
