#include "ForeignServer.h"
#include "xmlda_program.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace xmlda::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

/// The program against servers that follow the published schema in ways of their own.
std::string create_element(const std::string& name, const std::string& attributes) {
    return "<da:Elements Name='" + name + "' " + attributes + "/>";
}

TEST(ForeignServer, BrowseFollowsContinuationPoints) {
    const ForeignServer server(
        {{"Browse", [](const std::string& /*request*/, int earlier) -> std::string {
              const std::string elements =
                  create_element("e" + std::to_string(earlier),
                                 "ItemName='i" + std::to_string(earlier) + "' IsItem='1' HasChildren='0'");
              const std::string more =
                  earlier < 2 ? " MoreElements='true' ContinuationPoint='p" + std::to_string(earlier) + "'"
                              : "";
              return "<da:BrowseResponse" + more + "><da:BrowseResult/>" + elements + "</da:BrowseResponse>";
          }}});
    const Outcome outcome = run_xmlda({"browse", server.get_url(), "branch", "--names"});

    EXPECT_EQ(outcome.output, "i0\ni1\ni2\n");
    EXPECT_EQ(outcome.errors, "");
    EXPECT_THAT(server.get_requests("Browse"),
                ElementsAre(Not(HasSubstr("ContinuationPoint")), HasSubstr("ContinuationPoint=\"p0\""),
                            HasSubstr("ContinuationPoint=\"p1\"")));
}

TEST(ForeignServer, BrowseStopsWhereAServerTurnsInACircle) {
    const ForeignServer server(
        {{"Browse", always("<da:BrowseResponse MoreElements='true' ContinuationPoint='p'/>")}});
    const Outcome outcome = run_xmlda({"browse", server.get_url()});

    EXPECT_EQ(outcome.errors,
              "xmlda: the server continues the branch '' again and again at the same point\n");
    EXPECT_EQ(outcome.status, 10);
}

TEST(ForeignServer, BrowseSaysWhatIsMissing) {
    const ForeignServer server(
        {{"Browse",
          always("<da:BrowseResponse MoreElements='true'>" +
                 create_element("a", "ItemName='i' IsItem='1' HasChildren='0'") + "</da:BrowseResponse>")}});
    const Outcome outcome = run_xmlda({"browse", server.get_url(), "b"});

    EXPECT_EQ(outcome.output, "b\n└── a  i\n");
    EXPECT_EQ(outcome.errors,
              "xmlda: 'b' is not complete: the server has more elements, but does not say how to get them\n");
    EXPECT_EQ(outcome.status, 11);
}

TEST(ForeignServer, BrowseGoesDownWithItemPaths) {
    const ForeignServer server(
        {{"Browse", [](const std::string& request, int /*earlier*/) -> std::string {
              std::string elements;
              if (request.find("ItemName") == std::string::npos) {
                  elements =
                      create_element("DA", "ItemName='root' ItemPath='DA' IsItem='0' HasChildren='1'") +
                      create_element("open", "IsItem='false' HasChildren='true'");
              } else if (request.find("ItemPath=\"DA\" ItemName=\"root\"") != std::string::npos) {
                  elements =
                      create_element("leaf", "ItemName='root.leaf' IsItem='true' HasChildren='false'") +
                      create_element("self", "ItemName='root' ItemPath='DA' IsItem='0' HasChildren='1'");
              }
              return "<da:BrowseResponse><da:BrowseResult/>" + elements + "</da:BrowseResponse>";
          }}});
    const Outcome outcome = run_xmlda({"browse", server.get_url(), "--recursive"});

    EXPECT_EQ(outcome.output, server.get_url() +
                                  "/\n"
                                  "├── DA/                          root  in DA\n"
                                  "│   ├── leaf                     root.leaf\n"
                                  "│   └── self/ (contains itself)  root  in DA\n"
                                  "└── open/ (has no item name)\n");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(server.get_requests("Browse").size(), 2U);
}

TEST(ForeignServer, BrowseGoesOnBesideABranchThatIsRefused) {
    const ForeignServer server(
        {{"Browse", [](const std::string& request, int /*earlier*/) -> std::string {
              if (request.find("ItemName=\"locked\"") != std::string::npos) {
                  return to_soap_reply(
                      "<E:Fault><faultcode>da:E_ACCESS_DENIED</faultcode>"
                      "<faultstring>locked</faultstring></E:Fault>",
                      "500 Internal Server Error");
              }
              const std::string elements =
                  request.find("ItemName") == std::string::npos
                      ? create_element("a", "ItemName='locked' HasChildren='1' IsItem='0'") +
                            create_element("b", "ItemName='open' HasChildren='1' IsItem='0'")
                      : create_element("c", "ItemName='leaf' HasChildren='0' IsItem='1'");
              return "<da:BrowseResponse>" + elements + "</da:BrowseResponse>";
          }}});
    const Outcome outcome = run_xmlda({"browse", server.get_url(), "-r", "--names"});

    EXPECT_EQ(outcome.output, "locked\nopen\nleaf\n");
    EXPECT_EQ(outcome.errors, "xmlda: locked: the server refused the request: E_ACCESS_DENIED: locked\n");
    EXPECT_EQ(outcome.status, 7);
}

TEST(ForeignServer, BrowseShowsWhatItHasWhenTheConnectionBreaks) {
    const ForeignServer server(
        {{"Browse", [](const std::string& /*request*/, int earlier) -> std::string {
              return earlier == 0 ? "<da:BrowseResponse>" +
                                        create_element("a", "ItemName='i' HasChildren='1' IsItem='0'") +
                                        "</da:BrowseResponse>"
                                  : "HTTP/1.1 502 Bad Gateway\r\nContent-Length: 0\r\n\r\n";
          }}});
    const Outcome outcome = run_xmlda({"browse", server.get_url(), "-r"});

    EXPECT_EQ(outcome.output, server.get_url() + "/\n└── a/  i\n");
    EXPECT_EQ(outcome.errors, "xmlda: the server answered 502 Bad Gateway\n");
    EXPECT_EQ(outcome.status, 9);
}

constexpr char READ_RESPONSE[] = R"(<da:ReadResponse>
  <da:ReadResult RcvTime="2026-01-02T03:04:05Z" ReplyTime="2026-01-02T03:04:05Z" ServerState="running"/>
  <da:RItemList>
    <da:Items ClientItemHandle="3" ResultID="da:S_CLAMP" Timestamp="2026-01-02T03:04:05.5+01:00">
      <da:Value i:type="x:boolean">true</da:Value><da:Quality QualityField="uncertain" LimitField="low"/>
    </da:Items>
    <da:Items ClientItemHandle="2" ResultID="da:E_ACCESS_DENIED"><da:DiagnosticInfo>ask me</da:DiagnosticInfo></da:Items>
    <da:Items ClientItemHandle="1" ItemName="" ItemPath="DA"><da:Value i:type="x:float">1.5E-7</da:Value></da:Items>
  </da:RItemList>
  <da:Errors ID="da:E_ACCESS_DENIED"><da:Text>not&#10;you</da:Text></da:Errors>
  <da:Errors ID="da:S_CLAMP"/>
</da:ReadResponse>)";

TEST(ForeignServer, ReadMatchesByHandle) {
    const ForeignServer server({{"Read", always(READ_RESPONSE)}});
    const Outcome outcome = run_xmlda({"read", server.get_url(), "a", "b", "c", "d", "--item-path", "DA"});

    EXPECT_EQ(outcome.output,
              "a  1.5E-7  float\n"
              "c  true    boolean  2026-01-02T03:04:05.5+01:00  uncertain, limit low  S_CLAMP\n");
    EXPECT_EQ(outcome.errors,
              "xmlda: b: E_ACCESS_DENIED: not\\nyou (ask me)\n"
              "xmlda: d: missing from the reply: the server does not know it\n");
    EXPECT_EQ(outcome.status, 12);
    EXPECT_THAT(server.get_requests("Read"),
                ElementsAre(HasSubstr("<Items ItemPath=\"DA\" ItemName=\"a\" ClientItemHandle=\"1\"/>")));
}

TEST(ForeignServer, ReadAsJson) {
    const ForeignServer server({{"Read", always(READ_RESPONSE)}});
    const Outcome outcome = run_xmlda({"read", server.get_url(), "--json", "a", "b", "c"});

    EXPECT_EQ(outcome.output, R"([
  {
    "item": "a",
    "value": 1.5E-7,
    "type": "float"
  },
  {
    "item": "b",
    "result": {
      "code": "E_ACCESS_DENIED",
      "text": "not\nyou"
    },
    "diagnostic": "ask me"
  },
  {
    "item": "c",
    "value": true,
    "type": "boolean",
    "timestamp": "2026-01-02T03:04:05.5+01:00",
    "quality": "uncertain",
    "limit": "low",
    "result": {
      "code": "S_CLAMP"
    }
  }
]
)");
    EXPECT_EQ(outcome.status, 12);
}

/// A response to GetProperties that says which type an item has.
std::string create_type_response(const std::string& type) {
    return "<da:GetPropertiesResponse><da:GetPropertiesResult/><da:PropertyLists ItemName='a'>"
           "<da:Properties Name='da:dataType'><da:Value i:type='x:QName'>" +
           type +
           "</da:Value></da:Properties><da:Properties Name='da:euInfo' ResultID='da:E_INVALIDPID'/>"
           "</da:PropertyLists></da:GetPropertiesResponse>";
}

TEST(ForeignServer, WriteUsesTheTypeWhateverItsPrefix) {
    const ForeignServer server(
        {{"GetProperties", always(create_type_response("x:boolean"))},
         {"Write",
          always(
              "<da:WriteResponse><da:WriteResult/><da:RItemList><da:Items ClientItemHandle='1'>"
              "<da:Value i:type='x:boolean'>true</da:Value></da:Items></da:RItemList></da:WriteResponse>")}});
    const Outcome outcome = run_xmlda({"write", server.get_url(), "a=yes"});

    EXPECT_EQ(outcome.output, "a  true  boolean\n");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(server.get_requests("Write"),
                ElementsAre(HasSubstr("<Value xsi:type=\"xsd:boolean\">1</Value>")));
}

TEST(ForeignServer, WriteAsksForTheValueWhereThereIsNoType) {
    const ForeignServer server(
        {{"GetProperties",
          always("<da:GetPropertiesResponse><da:PropertyLists/></da:GetPropertiesResponse>")},
         {"Read", always("<da:ReadResponse><da:RItemList><da:Items><da:Value i:type='da:ArrayOfShort'>"
                         "<da:short>1</da:short></da:Value></da:Items></da:RItemList></da:ReadResponse>")},
         {"Write", always("<da:WriteResponse><da:RItemList><da:Items ItemName='a'/></da:RItemList>"
                          "</da:WriteResponse>")}});
    const Outcome outcome = run_xmlda({"write", server.get_url(), "a=[1,2]"});

    EXPECT_EQ(outcome.output, "a  written\n");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(
        server.get_requests("Write"),
        ElementsAre(HasSubstr("<Value xsi:type=\"ArrayOfShort\"><short>1</short><short>2</short></Value>")));
}

TEST(ForeignServer, WriteReportsCodes) {
    const ForeignServer server(
        {{"GetProperties", always(create_type_response("x:int"))},
         {"Write",
          always("<da:WriteResponse><da:WriteResult/><da:RItemList>"
                 "<da:Items ClientItemHandle='2' ResultID='da:S_CLAMP'><da:Value i:type='x:int'>9</da:Value>"
                 "</da:Items><da:Items ClientItemHandle='1' ResultID='da:E_READONLY'/></da:RItemList>"
                 "<da:Errors ID='da:E_READONLY'><da:Text>look, do not touch</da:Text></da:Errors>"
                 "<da:Errors ID='da:S_CLAMP'><da:Text>clamped</da:Text></da:Errors></da:WriteResponse>")}});
    const Outcome outcome = run_xmlda({"write", server.get_url(), "a=1", "b=12", "c=3"});

    EXPECT_EQ(outcome.output, "b  9  int  S_CLAMP: clamped\n");
    EXPECT_EQ(outcome.errors,
              "xmlda: a: not written: E_READONLY: look, do not touch\n"
              "xmlda: c: not written: the server did not confirm it\n");
    EXPECT_EQ(outcome.status, 13);
}

TEST(ForeignServer, WriteReportsUnknownItems) {
    const ForeignServer server(
        {{"GetProperties",
          always("<da:GetPropertiesResponse><da:PropertyLists ResultID='da:E_UNKNOWNITEMNAME'/>"
                 "<da:Errors ID='da:E_UNKNOWNITEMNAME'><da:Text>gone</da:Text></da:Errors>"
                 "</da:GetPropertiesResponse>")}});
    const Outcome outcome = run_xmlda({"write", server.get_url(), "a=1"});

    EXPECT_EQ(outcome.errors, "xmlda: a: E_UNKNOWNITEMNAME: gone\nxmlda: nothing was written\n");
    EXPECT_EQ(outcome.status, 12);
}

TEST(ForeignServer, WriteIsNeverSentTwice) {
    const ForeignServer server(
        {{"GetProperties", always(create_type_response("x:int"))}, {"Write", always(FakeServer::CLOSE)}});
    const Outcome outcome = run_xmlda({"write", server.get_url(), "a=1"});

    EXPECT_EQ(outcome.errors, "xmlda: the server closed the connection without an answer\n");
    EXPECT_EQ(outcome.status, 4);
    EXPECT_EQ(server.get_requests("Write").size(), 1U);
}

}  // namespace
}  // namespace xmlda::testing
