#include "client/text/utf8.h"
#include "xmlda/print/Table.h"
#include "xmlda/print/Tree.h"
#include "xmlda/print/clock_text.h"
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

TEST_F(Times, ThatAreNoneComeBackAsTheyAre) {
    for (const char* const text :
         {"", "soon", "2026-01-02", "2026-01-02T03:04:05", "2026-01-02T03:04:05X", "2026-01-02T03:04:05+1"}) {
        EXPECT_EQ(to_local_time(text), text);
        EXPECT_EQ(to_utc(text), text);
    }
}

}  // namespace
}  // namespace xmlda::testing
