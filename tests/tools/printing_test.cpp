#include "client/text/utf8.h"
#include "xmlda/print/Table.h"
#include "xmlda/print/Tree.h"
#include "xmlda/print/clock_text.h"
#include "xmlda/print/csv_row.h"
#include "xmlda/print/influx_line.h"
#include "xmlda/text/printable.h"
#include "xmlda/text/width.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <clocale>
#include <cstdlib>
#include <ctime>
#include <sstream>
#include <string>

namespace xmlda::testing {
namespace {

using ::testing::ElementsAre;

TEST(ToPrintable, EscapesWhatATerminalWouldObey) {
    EXPECT_EQ(to_printable("a \xC3\xA4 \\n"), "a \xC3\xA4 \\n");
    EXPECT_EQ(to_printable("\x1b[31m\n\r\t\x7f"), "\\x1b[31m\\n\\r\\t\\x7f");
    EXPECT_EQ(to_printable("\xC2\x9B\xE2\x80\xAE\xE2\x80\xA8\xEF\xBB\xBF"), "\\x9b\\u202e\\u2028\\ufeff");
    EXPECT_EQ(to_printable("a\xFFz\xC3"), "a\\xffz\\xc3");
    EXPECT_EQ(to_printable(std::string(1, '\0')), "\\x00");
}

TEST(ToPrintable, LinesStayInTextsOfSeveral) {
    EXPECT_EQ(to_printable_lines("a\n\tb\r\x1b"), "a\n\tb\\r\\x1b");
}

TEST(ToQuoted, EscapesQuotesToo) {
    EXPECT_EQ(to_quoted("a\"b\\c\n"), R"("a\"b\\c\n")");
}

TEST(TakeCharacter, RefusesWhatIsNotUtf8ByteByByte) {
    for (const std::string text : {"\x80", "\xC0\x80", "\xE0\x80\x80", "\xED\xA0\x80", "\xF4\x90\x80\x80",
                                   "\xF5", "\xE2\x82", "\xE2\x28\xA1"}) {
        std::string_view rest = text;
        EXPECT_EQ(take_character(rest), std::nullopt) << to_printable(text);
        EXPECT_EQ(rest.size(), text.size() - 1);
    }
}

class Widths : public ::testing::Test {
protected:
    static void SetUpTestSuite() { std::setlocale(LC_CTYPE, "C.UTF-8"); }
};

TEST_F(Widths, CountColumns) {
    EXPECT_EQ(get_width("abc"), 3U);
    EXPECT_EQ(get_width("\xC3\xA4"), 1U);
    EXPECT_EQ(get_width("\xE6\xB0\xB4"), 2U);  // a wide character
    EXPECT_EQ(get_width("e\xCC\x81"), 1U);     // with a combining accent
}

TEST_F(Widths, TextsAreCutBetweenCharacters) {
    EXPECT_EQ(cut_to_width("abcdef", 6), "abcdef");
    EXPECT_EQ(cut_to_width("abcdefg", 6), "abc...");
    EXPECT_EQ(cut_to_width("\xE6\xB0\xB4\xE6\xB0\xB4\xE6\xB0\xB4", 5), "\xE6\xB0\xB4...");
    EXPECT_EQ(cut_to_width("abcdef", 2), "..");
    EXPECT_EQ(cut_to_width("abcdef", 0), "");
    EXPECT_EQ(cut_front_to_width("abcdefg", 6), "...efg");
    EXPECT_EQ(cut_front_to_width("abcdef", 6), "abcdef");
    EXPECT_EQ(cut_front_to_width("abcdef", 2), "..");
}

TEST_F(Widths, TextsArePadded) {
    EXPECT_EQ(pad_to_width("\xE6\xB0\xB4", 4), "\xE6\xB0\xB4  ");
    EXPECT_EQ(pad_to_width("abc", 2), "abc");
}

TEST(Table, AlignsColumnsAndDropsEmptyOnes) {
    Table table;
    table.add_row({"a", "1", "", "x"});
    table.add_row({"long name", "22", "", ""});

    EXPECT_THAT(table.to_lines(), ElementsAre("a          1   x", "long name  22"));
}

TEST(Table, ALongCellDoesNotPushTheOthers) {
    Table table;
    table.add_row({"a", std::string(50, 'v'), "x"});
    table.add_row({"b", "1", "y"});

    EXPECT_THAT(table.to_lines(),
                ElementsAre("a  " + std::string(50, 'v') + "  x", "b  1" + std::string(33, ' ') + "y"));
}

TEST(Table, HeadsOfEmptyColumnsAreDropped) {
    Table table;
    table.set_headed();
    table.add_row({"Item", "Value", "Quality"});
    table.add_row({"a", "1", ""});

    EXPECT_THAT(table.to_lines(), ElementsAre("Item  Value", "a     1"));
}

TEST(Table, KeptWidthsOnlyGrow) {
    std::vector<std::size_t> widths;
    Table wide;
    wide.add_row({"a", "12345", "x"});
    wide.keep_widths(widths);
    Table narrow;
    narrow.add_row({"a", "1", "x"});
    narrow.keep_widths(widths);

    EXPECT_THAT(narrow.to_lines(), ElementsAre("a  1      x"));
}

std::string draw(const TreeNode& root, bool with_lines) {
    std::ostringstream stream;
    print_tree(stream, root, with_lines, 80);
    return stream.str();
}

TreeNode create_tree() {
    const TreeNode leaf{"leaf", "/a/leaf", {"size  1"}, {}};
    const TreeNode branch{"a/", "/a", {"size  2"}, {leaf}};
    return {"root", "", {}, {branch, {"b", "", {"size  3"}, {}}}};
}

TEST(Tree, IsDrawnWithLines) {
    EXPECT_EQ(draw(create_tree(), true),
              "root\n"
              "├── a/        /a\n"
              "│   │ size  2\n"
              "│   └── leaf  /a/leaf\n"
              "│         size  1\n"
              "└── b\n"
              "      size  3\n");
}

TEST(Tree, IsDrawnWithoutUtf8) {
    EXPECT_EQ(draw(create_tree(), false),
              "root\n"
              "|-- a/        /a\n"
              "|   | size  2\n"
              "|   `-- leaf  /a/leaf\n"
              "|         size  1\n"
              "`-- b\n"
              "      size  3\n");
}

TEST(Tree, CutsWhatIsTooWide) {
    std::ostringstream stream;
    print_tree(stream, {"root", "", {}, {{"a long label", "a remark", {}, {}, "\x1b[31m"}}}, false, 22);

    EXPECT_EQ(stream.str(), "root\n`-- a long label  \x1b[31ma...\x1b[0m\n");
}

TEST(Table, MakesValuesNarrowerToFit) {
    Table table;
    table.add_row({"item", "0123456789abcdef", "time"});
    table.add_row({"b", Cell("1", "\x1b[31m"), "now"}, "\x1b[1m");

    EXPECT_THAT(table.to_lines(28),
                ElementsAre("item  0123456789abcdef  time",
                            "\x1b[1mb     \x1b[31m1\x1b[0m\x1b[1m                 now\x1b[0m"));
    EXPECT_THAT(table.to_lines(25),
                ElementsAre("item  0123456789...  time",
                            "\x1b[1mb     \x1b[31m1\x1b[0m\x1b[1m              now\x1b[0m"));
    EXPECT_THAT(table.to_lines(12),
                ElementsAre("item  012...", "\x1b[1mb     \x1b[31m1\x1b[0m\x1b[1m\x1b[0m"));
}

TEST(Table, KeepsWhatMattersWhereRoomIsShort) {
    Table table;
    table.add_row(
        {"/instruments/thermometer_4/reading", "104.21 degC", "08:42:25.641", "badWaitingForInitialData"});

    EXPECT_THAT(
        table.to_lines(79),
        ElementsAre("/instruments/thermometer_4/reading  104.21 degC  08:42:25.641  badWaitingFor..."));
    EXPECT_THAT(table.to_lines(69),
                ElementsAre("...thermometer_4/reading  104.21 degC  08:42:25.641  badWaitingFor..."));
}

/// The zone of the tests' times.
class Times : public ::testing::Test {
protected:
    Times() {
        ::setenv("TZ", "UTC-2", 1);  // two hours to the east
        ::tzset();
    }
    ~Times() override {
        ::unsetenv("TZ");
        ::tzset();
    }
};

TEST_F(Times, AreLocalWithMilliseconds) {
    EXPECT_EQ(to_local_time("2026-01-02T03:04:05Z"), "2026-01-02 05:04:05.000");
    EXPECT_EQ(to_local_time("2026-01-02T23:04:05.123456789Z"), "2026-01-03 01:04:05.123");
    EXPECT_EQ(to_local_time("2026-01-02T03:04:05.5+01:30"), "2026-01-02 03:34:05.500");
}

TEST_F(Times, OfTodayHaveNoDate) {
    const std::time_t now = std::time(nullptr);
    std::tm parts = {};
    ::gmtime_r(&now, &parts);
    std::array<char, 64> text;
    std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S.25Z", &parts);

    EXPECT_THAT(to_local_time(text.data()), ::testing::MatchesRegex("[0-9]+:[0-9]+:[0-9]+.250"));
}

TEST_F(Times, AreFullInUtc) {
    EXPECT_EQ(to_utc("2026-01-02T03:04:05.123456789Z"), "2026-01-02T03:04:05.123456789Z");
    EXPECT_EQ(to_utc("2026-01-02T00:04:05+01:00"), "2026-01-01T23:04:05Z");
}

TEST_F(Times, AreCountedInNanoseconds) {
    EXPECT_EQ(to_nanoseconds("1970-01-01T00:00:01.5Z"), 1'500'000'000);
    EXPECT_EQ(to_nanoseconds("2026-01-02T03:04:05.123456789Z"), 1'767'323'045'123'456'789);
    EXPECT_EQ(to_nanoseconds("1969-12-31T23:59:59.25Z"), -750'000'000);
    EXPECT_EQ(to_nanoseconds("1601-01-01T00:00:00Z"), std::nullopt);
    EXPECT_EQ(to_nanoseconds("9999-01-01T00:00:00Z"), std::nullopt);
    EXPECT_EQ(to_nanoseconds("2026-01-02T03:04:05"), std::nullopt);
}

TEST_F(Times, AreMadeOfNanoseconds) {
    for (const char* const text : {"1970-01-01T00:00:00Z", "2026-01-02T03:04:05.120Z",
                                   "2026-01-02T03:04:05.123400Z", "1969-12-31T23:59:59.000000001Z"}) {
        EXPECT_EQ(from_nanoseconds(to_nanoseconds(text).value()), text);
    }
}

TEST_F(Times, AreTypedByPeople) {
    EXPECT_EQ(parse_time("2026-01-02T03:04:05.5Z"), to_nanoseconds("2026-01-02T03:04:05.5Z"));
    EXPECT_EQ(parse_time("2026-01-02 03:04:05+01:00"), to_nanoseconds("2026-01-02T02:04:05Z"));
    EXPECT_EQ(parse_time("2026-01-02T03:04"), to_nanoseconds("2026-01-02T01:04:00Z"));
    EXPECT_EQ(parse_time("2026-01-02"), to_nanoseconds("2026-01-01T22:00:00Z"));
    for (const char* const text : {"", "soon", "03:04", "2026-01-02T", "2026-01-02 x", "9999-01-01"}) {
        EXPECT_EQ(parse_time(text), std::nullopt) << text;
    }
}

TEST_F(Times, ThatAreNoneComeBackAsTheyAre) {
    for (const char* const text :
         {"", "soon", "2026-01-02", "2026-01-02T03:04:05", "2026-01-02T03:04:05X", "2026-01-02T03:04:05+1"}) {
        EXPECT_EQ(to_local_time(text), text);
        EXPECT_EQ(to_utc(text), text);
    }
}

/// An item with a good value.
ShownItem create_item(const std::string& type, const std::string& text) {
    ShownItem item;
    item.reply.timestamp = "1970-01-01T00:00:02Z";
    item.reply.value = Value{.type = type, .text = text, .members = {}};
    item.facts.quality = Quality();
    return item;
}

std::string get_influx_lines(const ShownItem& item, const ItemAddress& address = {"/a", ""},
                             const std::string& measurement = "xmlda") {
    std::ostringstream stream;
    write_influx_lines(stream, measurement, address, item);
    return stream.str();
}

/// The fields of a line about a good value.
std::string get_influx_field(const std::string& type, const std::string& text) {
    const std::string line = get_influx_lines(create_item(type, text));
    const std::string head = "xmlda,item=/a ";
    const std::string tail = "quality=\"good\" 2000000000\n";
    EXPECT_TRUE(line.starts_with(head) && line.ends_with(tail)) << line;
    const std::string fields = line.substr(head.size(), line.size() - head.size() - tail.size());
    return fields.empty() ? fields : fields.substr(0, fields.size() - 1);
}

TEST(InfluxLines, HoldNumbersWithAllDigits) {
    EXPECT_EQ(get_influx_field("double", "178.685956"), "value=178.685956");
    EXPECT_EQ(get_influx_field("double", "-1.5e-300"), "value=-1.5e-300");
    EXPECT_EQ(get_influx_field("float", "+2.50"), "value=2.50");
    EXPECT_EQ(get_influx_field("decimal", ".5"), "value=0.5");
    EXPECT_EQ(get_influx_field("decimal", "-3."), "value=-3");
    EXPECT_EQ(get_influx_field("double", "1.e3"), "value=1000");
}

TEST(InfluxLines, MarkIntegersAndBooleans) {
    EXPECT_EQ(get_influx_field("int", "-42"), "value_integer=-42i");
    EXPECT_EQ(get_influx_field("unsignedByte", "+007"), "value_integer=7i");
    EXPECT_EQ(get_influx_field("unsignedLong", "9223372036854775807"), "value_integer=9223372036854775807i");
    EXPECT_EQ(get_influx_field("unsignedLong", "18446744073709551615"),
              "value_text=\"18446744073709551615\"");
    EXPECT_EQ(get_influx_field("boolean", "1"), "value_boolean=true");
    EXPECT_EQ(get_influx_field("boolean", "false"), "value_boolean=false");
}

TEST(InfluxLines, LeaveOutWhatIsNoFiniteNumber) {
    for (const char* const text : {"INF", "-INF", "NaN", "inf", "nan", "1e999", "", "x"}) {
        EXPECT_EQ(get_influx_field("double", text), "") << text;
    }
    ShownItem item = create_item("double", "NaN");
    item.facts.quality.reset();
    EXPECT_EQ(get_influx_lines(item), "");
    item.reply.value.reset();
    item.reply.result = Result{"E_FAIL", "broken"};
    EXPECT_EQ(get_influx_lines(item), "xmlda,item=/a result=\"E_FAIL\" 2000000000\n");
}

TEST(InfluxLines, EscapeTexts) {
    EXPECT_EQ(get_influx_field("string", "a, b=c"), "value_text=\"a, b=c\"");
    EXPECT_EQ(get_influx_field("string", "say \"a\\b\""), R"(value_text="say \"a\\b\"")");
    EXPECT_EQ(get_influx_field("string", "two\nlines\t\r"), R"(value_text="two\nlines\t\r")");
    EXPECT_EQ(get_influx_field("string", ""), "value_text=\"\"");
    EXPECT_EQ(get_influx_field("duration", "P1D"), "value_text=\"P1D\"");
}

TEST(InfluxLines, EscapeNames) {
    ShownItem item = create_item("int", "1");
    item.facts.unit = "kg m=2";
    EXPECT_EQ(get_influx_lines(item, {"/a, b=\"c\"\\d\ne\\", "p q"}, "my, plant=1"),
              R"(my\,\ plant=1,item=/a\,\ b\="c"\d\ne,item_path=p\ q,unit=kg\ m\=2 )"
              "value_integer=1i,quality=\"good\" 2000000000\n");
}

TEST(InfluxLines, HoldSymbolsAndQualities) {
    ShownItem item = create_item("int", "1");
    item.facts.symbols = {"off", "a \"b\""};
    item.facts.quality = Quality{.field = "good", .limit = "high", .vendor = "0"};
    item.reply.timestamp.reset();
    EXPECT_EQ(get_influx_lines(item),
              R"(xmlda,item=/a value_integer=1i,symbol="a \"b\"",quality="good, limit high")"
              "\n");
}

TEST(InfluxLines, AreOneForEachMember) {
    ShownItem item = create_item("ArrayOfDouble", "");
    item.reply.value->kind = Value::Kind::LIST;
    EXPECT_EQ(get_influx_lines(item), "");
    item.reply.value->members = {Value{.type = "double", .text = "1.5", .members = {}},
                                 Value{.type = "double", .text = "NaN", .members = {}}};
    EXPECT_EQ(get_influx_lines(item),
              "xmlda,index=0,item=/a value=1.5,quality=\"good\" 2000000000\n"
              "xmlda,index=1,item=/a quality=\"good\" 2000000000\n");
}

std::string get_csv_row(const ShownItem& item, const std::string& name = "/a") {
    std::ostringstream stream;
    write_csv_row(stream, name, item, false);
    return stream.str();
}

TEST(CsvRows, QuoteWhatWouldBeMisread) {
    EXPECT_EQ(get_csv_row(create_item("double", "1.5")), "/a,1970-01-01T00:00:02Z,1.5,double,,good,\r\n");
    EXPECT_EQ(get_csv_row(create_item("string", "a \"b\", c\nd"), "x,y"),
              "\"x,y\",1970-01-01T00:00:02Z,\"a \"\"b\"\", c\nd\",string,,good,\r\n");
    EXPECT_EQ(get_csv_row(create_item("boolean", "1")), "/a,1970-01-01T00:00:02Z,true,boolean,,good,\r\n");
}

TEST(CsvRows, HoldArraysAsJsonAndNothingForNothing) {
    ShownItem item = create_item("ArrayOfString", "");
    item.reply.value->kind = Value::Kind::LIST;
    item.reply.value->members = {Value{.type = "string", .text = "b", .members = {}}};
    EXPECT_EQ(get_csv_row(item), "/a,1970-01-01T00:00:02Z,\"[\"\"b\"\"]\",ArrayOfString,,good,\r\n");
    EXPECT_EQ(get_csv_row(ShownItem{}), "/a,,,,,,\r\n");
}

}  // namespace
}  // namespace xmlda::testing
