#include "Host.h"
#include "xmlda_program.h"

#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <vector>

namespace xmlda::testing {
namespace {

using namespace kx::information_model;

/// The program against a server of ours: every command, output and exit status.
class Commands : public ::testing::Test {
protected:
    Outcome run(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin() + 1, host.get_url());
        return run_xmlda(arguments);
    }

    Host host;
};

void expect_success(const Outcome& outcome, const std::string& output) {
    EXPECT_EQ(outcome.output, output);
    EXPECT_EQ(outcome.errors, "");
    EXPECT_EQ(outcome.status, 0);
}

std::string mask_server_time(const std::string& text) {
    return std::regex_replace(text, std::regex(R"((Server time  |"serverTime": ")[0-9T:.Z-]+)"), "$1*");
}

std::string mask_times(const std::string& text) {
    return std::regex_replace(text, std::regex("2[0-9T:.-]{18,}Z"), "*");
}

TEST_F(Commands, Status) {
    Outcome outcome = run({"status"});
    outcome.output = mask_server_time(outcome.output);

    expect_success(outcome,
                   "State        running\n"
                   "Vendor       Brevandor OPC XML DA Server\n"
                   "Version      0.0.0.1\n"
                   "Started      2003-05-26T20:16:45.0937500-07:00\n"
                   "Server time  *\n"
                   "Locales      en-US\n"
                   "Interfaces   XML_DA_Version_1_0\n");
}

TEST_F(Commands, StatusAsJson) {
    Outcome outcome = run({"status", "--json"});
    outcome.output = mask_server_time(outcome.output);

    expect_success(outcome, R"({
  "state": "running",
  "vendor": "Brevandor OPC XML DA Server",
  "version": "0.0.0.1",
  "started": "2003-05-26T20:16:45.0937500-07:00",
  "serverTime": "*",
  "locales": [
    "en-US"
  ],
  "interfaces": [
    "XML_DA_Version_1_0"
  ]
}
)");
}

TEST_F(Commands, Browse) {
    expect_success(run({"browse"}), host.get_url() +
                                        "/\n"
                                        "├── boiler/  /boiler\n"
                                        "└── texts/   /texts\n");
}

TEST_F(Commands, BrowseRecursively) {
    expect_success(run({"browse", "/", "--recursive"}),
                   "/\n"
                   "├── boiler/          /boiler\n"
                   "│   ├── temperature  /boiler/temperature\n"
                   "│   ├── setpoint     /boiler/setpoint\n"
                   "│   ├── zones        /boiler/zones\n"
                   "│   ├── kind         /boiler/kind\n"
                   "│   ├── burner       /boiler/burner\n"
                   "│   └── bytes        /boiler/bytes\n"
                   "└── texts/           /texts\n"
                   "    ├── note         /texts/note\n"
                   "    ├── list         /texts/list\n"
                   "    └── pause        /texts/pause\n");
}

TEST_F(Commands, BrowseWithProperties) {
    expect_success(run({"browse", "boiler/temperature", "--properties"}),
                   "boiler/temperature\n"
                   "└── temperature  /boiler/temperature\n"
                   "      accessRights             readable\n"
                   "      dataType                 xsd:double\n"
                   "      engineeringUnits         degC\n"
                   "      euType                   analog\n"
                   "      quality                  good\n"
                   "      timestamp                " +
                       HOST_TIME +
                       "\n"
                       "      value                    21.500000\n"
                       "      description              \"\"\n"
                       "      telvix:fractionalDigits  1\n");
}

TEST_F(Commands, BrowseNames) {
    expect_success(run({"browse", "texts", "--names"}), "/texts/note\n/texts/list\n/texts/pause\n");
}

TEST_F(Commands, BrowseAsJson) {
    expect_success(run({"browse", "--json", "--properties"}), R"([
  {
    "name": "boiler",
    "item": "/boiler",
    "isItem": true,
    "hasChildren": true,
    "properties": [
      {
        "name": "description",
        "value": "Steam boiler 1",
        "type": "string",
        "description": "description"
      },
      {
        "name": "telvix:patternType",
        "value": "common.Any",
        "type": "string",
        "description": "telvix:patternType"
      },
      {
        "name": "telvix:identity",
        "value": "B-001",
        "type": "string",
        "description": "telvix:identity"
      }
    ]
  },
  {
    "name": "texts",
    "item": "/texts",
    "isItem": true,
    "hasChildren": true,
    "properties": [
      {
        "name": "description",
        "value": "",
        "type": "string",
        "description": "description"
      },
      {
        "name": "telvix:patternType",
        "value": "common.Any",
        "type": "string",
        "description": "telvix:patternType"
      }
    ]
  }
]
)");
}

TEST_F(Commands, BrowseAnUnknownBranch) {
    expect_failure(
        run({"browse", "nowhere"}), 7,
        "xmlda: the server refused the request: E_UNKNOWNITEMNAME: The item name is no longer available "
        "in the server address space.\n");
}

TEST_F(Commands, Read) {
    expect_success(run({"read", "boiler/temperature", "/boiler/zones", "/boiler/kind", "/boiler/burner",
                        "/boiler/bytes", "/texts/note", "/texts/list", "/texts/pause"}),
                   "boiler/temperature  21.500000             double         " + HOST_TIME +
                       "\n"
                       "/boiler/zones       [1.500000, 2.500000]  ArrayOfDouble  " +
                       HOST_TIME +
                       "\n"
                       "/boiler/kind        1                     int            " +
                       HOST_TIME +
                       "\n"
                       "/boiler/burner      true                  boolean        " +
                       HOST_TIME +
                       "\n"
                       "/boiler/bytes       [1, -56]              ArrayOfByte    " +
                       HOST_TIME +
                       "\n"
                       "/texts/note         \"two\\nlines\"          string         " +
                       HOST_TIME +
                       "\n"
                       "/texts/list         [\"a, b\", \"\", c]       ArrayOfString  " +
                       HOST_TIME +
                       "\n"
                       "/texts/pause        PT1M30S               duration       " +
                       HOST_TIME + "\n");
}

TEST_F(Commands, ReadValuesOnly) {
    expect_success(run({"read", "--values", "/boiler/temperature", "/texts/note"}),
                   "21.500000\n\"two\\nlines\"\n");
}

TEST_F(Commands, ReadAsJson) {
    const Outcome outcome = run({"read", "--json", "/boiler/zones", "/nope", "/texts/note"});

    EXPECT_EQ(outcome.output, R"([
  {
    "item": "/boiler/zones",
    "value": [
      1.500000,
      2.500000
    ],
    "type": "ArrayOfDouble",
    "timestamp": ")" + HOST_TIME + R"(",
    "quality": "good"
  },
  {
    "item": "/nope",
    "missing": true
  },
  {
    "item": "/texts/note",
    "value": "two\nlines",
    "type": "string",
    "timestamp": ")" + HOST_TIME + R"(",
    "quality": "good"
  }
]
)");
    EXPECT_EQ(outcome.errors, "xmlda: /nope: missing from the reply: the server does not know it\n");
    EXPECT_EQ(outcome.status, 11);
}

TEST_F(Commands, ReadSomeThatAreMissing) {
    const Outcome outcome = run({"read", "/nope", "/texts/pause"});

    EXPECT_EQ(outcome.output, "/texts/pause  PT1M30S  duration  " + HOST_TIME + "\n");
    EXPECT_EQ(outcome.errors, "xmlda: /nope: missing from the reply: the server does not know it\n");
    EXPECT_EQ(outcome.status, 11);
}

TEST_F(Commands, ReadAMalformedName) {
    expect_failure(
        run({"read", "a//b"}), 8,
        "xmlda: the server answered 400 Bad Request \"Bad request\": it does not understand the request; "
        "an item name or a value may be malformed\n");
}

TEST_F(Commands, WriteWithTypesFromTheServer) {
    const Outcome outcome = run({"write", "/boiler/setpoint=190.5", "/boiler/kind=historySuggested",
                                 "/boiler/burner=off", "/boiler/bytes=[7, 255]", "/texts/note= a = b\t",
                                 "/texts/list=[\"x, y\", z]", "/texts/pause=PT5M"});

    EXPECT_EQ(mask_times(outcome.output),
              "/boiler/setpoint  190.500000   double         *\n"
              "/boiler/kind      2            int            *\n"
              "/boiler/burner    false        boolean        *\n"
              "/boiler/bytes     [7, -1]      ArrayOfByte    *\n"
              "/texts/note       \" a = b\\t\"   string         *\n"
              "/texts/list       [\"x, y\", z]  ArrayOfString  *\n"
              "/texts/pause      PT5M         duration       *\n");
    EXPECT_EQ(outcome.errors, "");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(host.get("boiler/setpoint"), Value(190.5));
    EXPECT_EQ(host.get("boiler/burner"), Value(false));
    EXPECT_EQ(host.get("boiler/bytes"), Value(std::vector<unsigned char>{7, 255}));
    EXPECT_EQ(host.get("texts/note"), Value(" a = b\t"));
    EXPECT_EQ(host.get("texts/list"), Value(std::vector<std::string>{"x, y", "z"}));
}

TEST_F(Commands, WriteTrue) {
    host.set("boiler/burner", Value(false));

    EXPECT_EQ(run({"write", "/boiler/burner=true"}).status, 0);
    EXPECT_EQ(host.get("boiler/burner"), Value(true));
}

TEST_F(Commands, WriteEmptyTextsAndLists) {
    EXPECT_EQ(run({"write", "/texts/note=", "/texts/list=[]"}).status, 0);
    EXPECT_EQ(host.get("texts/note"), Value(""));
    EXPECT_EQ(host.get("texts/list"), Value(std::vector<std::string>{}));
}

TEST_F(Commands, WriteWithAGivenType) {
    EXPECT_EQ(run({"write", "--type", "double", "/boiler/setpoint=1"}).status, 0);
    EXPECT_EQ(host.get("boiler/setpoint"), Value(1.0));
    expect_failure(
        run({"write", "--type", "short", "/boiler/setpoint=1"}), 8,
        "xmlda: the server answered 400 Bad Request \"Bad request\": it does not understand the request; "
        "an item name or a value may be malformed\n");
}

TEST_F(Commands, WriteWithoutValues) {
    Outcome outcome = run({"write", "--without-values", "--type", "double", "/boiler/setpoint=1"});
    outcome.output = mask_times(outcome.output);

    expect_success(outcome, "/boiler/setpoint  written  *\n");
}

TEST_F(Commands, WriteWhatCanOnlyBeRead) {
    expect_failure(run({"write", "/boiler/temperature=1"}), 13,
                   "xmlda: /boiler/temperature: not written: the item is read-only\n");
    expect_failure(run({"write", "--type", "double", "/boiler/temperature=1"}), 13,
                   "xmlda: /boiler/temperature: not written: the server did not confirm it\n");
    EXPECT_EQ(host.get("boiler/temperature"), Value(21.5));
}

TEST_F(Commands, WriteNothingUnlessAllSuits) {
    expect_failure(run({"write", "/boiler/setpoint=1", "/nope=1", "/texts/pause=soon", "/boiler=1"}), 11,
                   "xmlda: /nope: the server does not know it\n"
                   "xmlda: /texts/pause: 'soon' is not a duration (P5D, PT30M)\n"
                   "xmlda: /boiler: is a branch, which has no value\n"
                   "xmlda: nothing was written\n");
    EXPECT_EQ(host.get("boiler/setpoint"), Value(180.0));
    EXPECT_EQ(run({"write", "/boiler/setpoint=x"}).status, 2);
}

TEST_F(Commands, ShowXml) {
    const Outcome outcome = run({"read", "--values", "--show-xml", "/boiler/temperature"});

    EXPECT_EQ(outcome.output, "21.500000\n");
    EXPECT_TRUE(outcome.errors.starts_with("--- request to " + host.get_url() + "/\n<?xml"))
        << outcome.errors;
    EXPECT_NE(
        outcome.errors.find("\n        <Items ItemName=\"/boiler/temperature\" ClientItemHandle=\"1\"/>\n"),
        std::string::npos)
        << outcome.errors;
    EXPECT_NE(outcome.errors.find("--- reply 200 OK, text/xml; charset=utf-8\n<?xml"), std::string::npos);
    EXPECT_NE(outcome.errors.find("          <Value xsi:type=\"xsd:double\">21.500000</Value>\n"),
              std::string::npos);
}

TEST_F(Commands, OutputThatCannotBeWritten) {
    const ChildProcess::Place pipes = ChildProcess::Place::PIPES;
    const Outcome outcome = ChildProcess({"/bin/sh", "-c", "exec \"$@\" > /dev/full", "sh", XMLDA_PROGRAM,
                                          "browse", host.get_url()},
                                         pipes)
                                .wait();

    EXPECT_EQ(outcome.errors, "xmlda: cannot write to standard output: No space left on device\n");
    EXPECT_EQ(outcome.status, 1);
}

TEST_F(Commands, OutputInPlainAscii) {
    const Outcome outcome = run_xmlda({"browse", host.get_url()}, {{"LC_ALL", "C"}});

    EXPECT_EQ(outcome.output, host.get_url() + "/\n|-- boiler/  /boiler\n`-- texts/   /texts\n");
}

TEST_F(Commands, ManyItems) {
    std::vector<std::string> arguments = {"read", "--values"};
    arguments.insert(arguments.end(), 2000, "/boiler/temperature");
    const Outcome outcome = run(arguments);

    EXPECT_EQ(outcome.output.size(), 2000 * std::string("21.500000\n").size());
    EXPECT_EQ(outcome.status, 0);
}

TEST(Help, IsPrinted) {
    const Outcome outcome = run_xmlda({"--help"});

    EXPECT_NE(outcome.output.find("Usage: xmlda [OPTIONS] COMMAND ARGUMENT...\n"), std::string::npos);
    EXPECT_EQ(outcome.status, 0);
    for (const char* const command : {"status", "browse", "read", "get", "write", "watch"}) {
        const Outcome help = run_xmlda({command, "--help"});
        EXPECT_NE(help.output.find("Usage: xmlda " + std::string(command) + " [OPTIONS] [URL]"),
                  std::string::npos);
        EXPECT_NE(help.output.find("\nConnection:\n"), std::string::npos);
        EXPECT_EQ(help.status, 0);
    }
}

TEST(Help, WrongArgumentsAreStatusTwo) {
    expect_failure(run_xmlda({"read"}), 2,
                   "xmlda: URL is required, here or in the variable XMLDA_URL (see xmlda read "
                   "--help)\n");
}

}  // namespace
}  // namespace xmlda::testing
