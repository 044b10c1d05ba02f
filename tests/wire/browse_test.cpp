#include "odd_items.h"
#include "property_replies.h"
#include "support/StderrCapture.h"
#include "support/TestServer.h"
#include "support/TestThreads.h"
#include "support/replies.h"

#include <Poco/DOM/DOMParser.h>
#include <Poco/DOM/Document.h>
#include <Poco/DOM/Element.h>

#include <gtest/gtest.h>

#include <mutex>
#include <stop_token>
#include <vector>

namespace kx::information_model::opc::testing {
namespace {

const std::string UNKNOWN_NAME = "The item name is no longer available in the server address space.";
const std::string INVALID_NAME = "The item name does not conform the server's syntax.";
const std::string UNKNOWN_PATH = "The item path is no longer available in the server address space.";
const std::string INVALID_FILTER = "The filter string is not valid.";

/// "/boiler" with the variables "temperature" and "pressure" and, between them, the domain "drum", which has
/// a variable "level"; and "/spare", which is empty.
class BrowseService : public WireTest {
protected:
    BrowseService() {
        Domain& boiler = server.get_root().add_domain("boiler");
        boiler.add_variable("temperature", Value(21.5));
        boiler.add_domain("drum").add_variable("level", Value(1));
        boiler.add_variable("pressure", Value(1.0F));
        server.get_root().add_domain("spare");
    }

    /// Browses with these attributes and expects a listing of these elements.
    void expect_listing(const std::string& attributes, const std::string& elements) {
        SCOPED_TRACE(attributes);
        expect_success(server.call("<Browse " + attributes + "/>"),
                       "<BrowseResponse>" + elements + create_result("BrowseResult") + "</BrowseResponse>");
    }

    /// Browses with these attributes and expects this fault, with nothing on the standard error stream.
    void expect_browse_fault(const std::string& attributes, const std::string& code,
                             const std::string& text) {
        SCOPED_TRACE(attributes);
        StderrCapture capture;
        expect_fault(server.call("<Browse " + attributes + "/>"), code, text);
        EXPECT_EQ(capture.stop(), "");
    }

    void expect_tree_is_unlocked() {
        const std::unique_lock<Tree> lock(server.get_tree(), std::try_to_lock);
        EXPECT_TRUE(lock.owns_lock());
    }

    const std::string root_elements =
        element_text("boiler", "/boiler", true) + element_text("spare", "/spare");
    const std::string temperature = element_text("temperature", "/boiler/temperature");
    const std::string drum = element_text("drum", "/boiler/drum", true);
    const std::string pressure = element_text("pressure", "/boiler/pressure");
};

TEST_F(BrowseService, WithoutItemNameListsTheRoot) {
    expect_listing("", root_elements);
}

TEST_F(BrowseService, EveryNameOfTheRootListsTheRoot) {
    expect_listing(R"(ItemName="")", root_elements);
    expect_listing(R"(ItemName=".")", root_elements);
    expect_listing(R"(ItemName="/")", root_elements);
}

TEST_F(BrowseService, EveryFormOfAPathListsTheDomain) {
    for (const char* name : {"/boiler", "boiler", "./boiler"}) {
        expect_listing("ItemName=\"" + std::string(name) + "\"", temperature + drum + pressure);
    }
}

TEST_F(BrowseService, ListsOnlyTheNextLevel) {
    expect_listing(R"(ItemName="/boiler/drum")", element_text("level", "/boiler/drum/level"));
}

TEST_F(BrowseService, ItemNamesOfAReplyCanBeSentBack) {
    std::string path = "/";
    for (const char* name : {"boiler", "drum", "level"}) {
        const std::string body = server.call("<Browse ItemName=\"" + path + "\"/>").body;
        path += (path == "/" ? "" : "/") + std::string(name);
        EXPECT_NE(body.find("ItemName=\"" + path + "\" Name=\"" + name + "\""), std::string::npos) << body;
    }
    expect_listing("ItemName=\"" + path + "\"", element_text("level", path));
}

TEST_F(BrowseService, EmptyDomainHasNoElements) {
    expect_listing(R"(ItemName="/spare")", "");
}

TEST_F(BrowseService, DomainHasChildrenOnceOneIsAdded) {
    {
        const std::unique_lock<Tree> lock(server.get_tree());
        dynamic_cast<Domain&>(server.get_root().get_item(Path("/spare"), false)).add_variable("x", Value(1));
    }
    expect_listing("", element_text("boiler", "/boiler", true) + element_text("spare", "/spare", true));
}

TEST_F(BrowseService, EmptyTreeHasNoElements) {
    const TestServer empty;
    expect_success(empty.call("<Browse/>"),
                   "<BrowseResponse>" + create_result("BrowseResult") + "</BrowseResponse>");
}

TEST_F(BrowseService, ChildrenStandInTheOrderInWhichTheyWereAdded) {
    Domain& domain = server.get_root().add_domain("order");
    std::string elements;
    for (const char* name : {"z", "a", "B", "b", "0", "\xC3\xA4"}) {
        domain.add_variable(name, Value(1));
        elements += element_text(name, "/order/" + std::string(name));
    }
    expect_listing(R"(ItemName="/order")", elements);
}

TEST_F(BrowseService, FilterAllListsEveryChild) {
    expect_listing(R"(ItemName="/boiler" BrowseFilter="all")", temperature + drum + pressure);
}

TEST_F(BrowseService, FilterBranchListsDomainsAlone) {
    expect_listing(R"(ItemName="/boiler" BrowseFilter="branch")", drum);
    expect_listing(R"(BrowseFilter="branch")", root_elements);
    expect_listing(R"(ItemName="/boiler/drum" BrowseFilter="branch")", "");
}

TEST_F(BrowseService, FilterItemListsEveryChild) {
    expect_listing(R"(ItemName="/boiler" BrowseFilter="item")", temperature + drum + pressure);
}

TEST_F(BrowseService, VariableListsItselfUnlessFilteredOut) {
    expect_listing(R"(ItemName="/boiler/temperature")", temperature);
    expect_listing(R"(ItemName="/boiler/temperature" BrowseFilter="all")", temperature);
    expect_listing(R"(ItemName="/boiler/temperature" BrowseFilter="item")", temperature);
    expect_listing(R"(ItemName="/boiler/temperature" BrowseFilter="branch")", "");
}

TEST_F(BrowseService, FilterIsComparedExactly) {
    for (const char* filter :
         {"Branch", "BRANCH", "All", "Item", "", " branch", "branch ", "branches", "1", "x"}) {
        expect_browse_fault("BrowseFilter=\"" + std::string(filter) + "\"", "E_INVALIDFILTER",
                            INVALID_FILTER);
    }
}

TEST_F(BrowseService, EmptyItemPathIsAccepted) {
    expect_listing(R"(ItemPath="")", root_elements);
}

TEST_F(BrowseService, AnyOtherItemPathIsUnknown) {
    for (const char* path : {"x", "/", ".", " "}) {
        expect_browse_fault("ItemPath=\"" + std::string(path) + "\"", "E_UNKNOWNITEMPATH", UNKNOWN_PATH);
    }
}

TEST_F(BrowseService, MalformedItemNameIsInvalid) {
    for (const char* name : {"//", "/boiler/", "boiler//drum", "..", "/..", "/boiler/../spare", "a&#10;b"}) {
        expect_browse_fault("ItemName=\"" + std::string(name) + "\"", "E_INVALIDITEMNAME", INVALID_NAME);
    }
}

TEST_F(BrowseService, ItemThatDoesNotExistIsUnknown) {
    for (const char* name : {"/x", "boiler/x", "/Boiler", "/boiler/temperature/x", " "}) {
        expect_browse_fault("ItemName=\"" + std::string(name) + "\"", "E_UNKNOWNITEMNAME", UNKNOWN_NAME);
    }
    expect_tree_is_unlocked();
}

TEST_F(BrowseService, FirstFaultIsAnswered) {
    const std::string bad_flag = R"( ReturnErrorText="maybe")";
    const std::string bad_name = R"( ItemName="//")";
    const std::string unknown_name = R"( ItemName="/x")";
    const std::string bad_filter = R"( BrowseFilter="x")";
    const std::string bad_path = R"( ItemPath="x")";
    expect_bad_request(server.call("<Browse" + bad_flag + bad_name + bad_filter + bad_path + "/>"));
    expect_browse_fault(bad_name + bad_filter + bad_path, "E_INVALIDITEMNAME", INVALID_NAME);
    expect_browse_fault(unknown_name + bad_filter + bad_path, "E_INVALIDFILTER", INVALID_FILTER);
    expect_browse_fault(unknown_name + bad_path, "E_UNKNOWNITEMPATH", UNKNOWN_PATH);
    expect_browse_fault(unknown_name, "E_UNKNOWNITEMNAME", UNKNOWN_NAME);
}

TEST_F(BrowseService, FlagThatIsNoBoolIsABadRequest) {
    for (const char* flag : {"ReturnErrorText", "ReturnAllProperties", "ReturnPropertyValues"}) {
        SCOPED_TRACE(flag);
        expect_bad_request(server.call("<Browse " + std::string(flag) + "=\"maybe\"/>"));
        expect_bad_request(server.call("<Browse " + std::string(flag) + "=\"\"/>"));
    }
}

TEST_F(BrowseService, ReturnErrorTextHasNoEffect) {
    expect_listing(R"(ReturnErrorText="true")", root_elements);
    expect_listing(R"(ReturnErrorText="false")", root_elements);
    expect_browse_fault(R"(ReturnErrorText="false" ItemName="/x")", "E_UNKNOWNITEMNAME", UNKNOWN_NAME);
}

TEST_F(BrowseService, ClientRequestHandleIsEchoed) {
    expect_success(server.call(R"(<Browse ClientRequestHandle="&lt;h&quot;1"/>)"),
                   "<BrowseResponse>" + root_elements + create_result("BrowseResult", "&lt;h&quot;1") +
                       "</BrowseResponse>");
    expect_success(
        server.call(R"(<Browse ClientRequestHandle=""/>)"),
        "<BrowseResponse>" + root_elements + create_result("BrowseResult", "") + "</BrowseResponse>");
}

TEST_F(BrowseService, WhatWouldCutTheListingShortHasNoEffect) {
    expect_listing(R"(LocaleID="de-DE" ContinuationPoint="x" MaxElementsReturned="1")"
                   R"( ElementNameFilter="x" VendorFilter="x")",
                   root_elements);
}

TEST_F(BrowseService, ItemNameAndItemPathAreReadWithoutANamespaceOnly) {
    expect_success(server.call(R"(<q:Browse xmlns:q="http://opcfoundation.org/webservices/XMLDA/1.0/")"
                               R"( q:ItemName="/boiler/drum" q:ItemPath="x"/>)"),
                   "<BrowseResponse>" + root_elements + create_result("BrowseResult") + "</BrowseResponse>");
}

TEST_F(BrowseService, OtherAttributesAreReadWithANamespaceToo) {
    expect_success(
        server.call(R"(<q:Browse xmlns:q="http://opcfoundation.org/webservices/XMLDA/1.0/")"
                    R"( ItemName="/boiler" q:BrowseFilter="branch" q:ClientRequestHandle="h")"
                    R"( q:ReturnErrorText="1" q:ReturnAllProperties="0" q:ReturnPropertyValues="no"/>)"),
        "<BrowseResponse>" + drum + create_result("BrowseResult", "h") + "</BrowseResponse>");
}

TEST_F(BrowseService, PropertiesOfEachChildStandInItsElement) {
    expect_success(
        server.call(
            R"(<Browse ItemName="/boiler" ReturnPropertyValues="true">)"
            R"(<PropertyNames>description</PropertyNames><PropertyNames>dataType</PropertyNames></Browse>)"),
        "<BrowseResponse>" +
            element_text("temperature", "/boiler/temperature", false,
                         property_text("dataType", "xsd:QName", "xsd:double") +
                             property_text("description", "xsd:string", "")) +
            element_text("drum", "/boiler/drum", true, property_text("description", "xsd:string", "")) +
            element_text("pressure", "/boiler/pressure", false,
                         property_text("dataType", "xsd:QName", "xsd:float") +
                             property_text("description", "xsd:string", "")) +
            create_result("BrowseResult") + "</BrowseResponse>");
}

TEST_F(BrowseService, ItemOfUnknownTypeFails) {
    Item& spare = server.get_root().get_item(Path("/spare"), false);
    const ItemOfUnknownType odd(spare);
    expect_browse_fault(R"(ItemName="/spare")", "E_FAIL", "Unspecified Error");
    expect_tree_is_unlocked();
}

TEST_F(BrowseService, ChildOfUnknownTypeFailsTheListing) {
    Item& spare = server.get_root().get_item(Path("/spare"), false);
    const ItemOfUnknownType odd(spare);
    expect_browse_fault("", "E_FAIL", "Unspecified Error");
    expect_browse_fault(R"(BrowseFilter="branch")", "E_FAIL", "Unspecified Error");
    expect_tree_is_unlocked();
}

TEST_F(BrowseService, ChildThatIsNoItemIsABadRequest) {
    Domain& boiler = dynamic_cast<Domain&>(server.get_root().get_item(Path("/boiler"), false));
    const ChildThatIsNoItem odd(boiler);
    expect_bad_request(server.call(R"(<Browse ItemName="/boiler"/>)"));
    expect_tree_is_unlocked();
}

TEST_F(BrowseService, ValueThatCannotBeWrittenFailsTheListing) {
    server.get_root().add_variable("odd", Value(1, ValueTypeInfo(VALUE_TYPE::DOUBLE, false)));
    expect_bad_request(server.call(R"(<Browse ReturnAllProperties="true" ReturnPropertyValues="true"/>)"));
    expect_tree_is_unlocked();
    expect_listing("", root_elements + element_text("odd", "/odd"));
}

struct Listed {
    std::string name;
    std::string item_name;
    bool has_children;
};

/// The elements of a listing as a parser other than ours finds them.
std::vector<Listed> parse_listing(const std::string& body) {
    Poco::XML::DOMParser parser;
    const Poco::AutoPtr<Poco::XML::Document> document = parser.parseString(body);
    const auto* response = document->getNodeByPath("soap:Envelope/soap:Body/BrowseResponse");
    std::vector<Listed> listing;
    for (const Poco::XML::Node* node = response->firstChild(); node != nullptr; node = node->nextSibling()) {
        const auto& element = dynamic_cast<const Poco::XML::Element&>(*node);
        if (element.tagName() == "Elements") {
            listing.push_back({element.getAttribute("Name"), element.getAttribute("ItemName"),
                               element.getAttribute("HasChildren") == "true"});
        }
    }
    return listing;
}

std::vector<std::string> get_names(const std::string& body) {
    std::vector<std::string> names;
    for (const Listed& listed : parse_listing(body)) {
        EXPECT_EQ(listed.item_name, "/" + listed.name);
        names.push_back(listed.name);
    }
    return names;
}

std::string escape(const std::string& text) {
    std::string escaped;
    for (const char letter : text) {
        escaped += letter == '&'   ? "&amp;"
                   : letter == '<' ? "&lt;"
                   : letter == '"' ? "&quot;"
                                   : std::string(1, letter);
    }
    return escaped;
}

/// Walks down from an item with nothing but what the server answers.
void walk(const TestServer& server, const std::string& item_name, std::vector<std::string>& found) {
    for (const Listed& listed :
         parse_listing(server.call("<Browse ItemName=\"" + escape(item_name) + "\"/>").body)) {
        found.push_back(listed.item_name);
        if (listed.has_children) {
            walk(server, listed.item_name, found);
        }
    }
}

TEST(BrowseTree, EveryItemIsFoundFromTheRoot) {
    TestServer server;
    server.get_root().add_variable("first", Value(1));
    Domain& boiler = server.get_root().add_domain("boiler & \"drum\"");
    boiler.add_domain("<a>").add_domain("b").add_variable("\xC3\xA4", Value(1));
    boiler.add_domain("empty");
    boiler.add_variable(" x ", Value(1));
    server.get_root().add_domain("last");
    std::vector<std::string> found;
    walk(server, "", found);
    EXPECT_EQ(found,
              (std::vector<std::string>{"/first", "/boiler & \"drum\"", "/boiler & \"drum\"/<a>",
                                        "/boiler & \"drum\"/<a>/b", "/boiler & \"drum\"/<a>/b/\xC3\xA4",
                                        "/boiler & \"drum\"/empty", "/boiler & \"drum\"/ x ", "/last"}));
}

TEST(BrowseTree, ListingShowsTheTreeAtOneMoment) {
    TestServer server;
    Variable& first = server.get_root().add_variable("first", Value(0));
    Variable& second = server.get_root().add_variable("second", Value(0));
    TestThreads host([&](const std::stop_token& stop) {
        for (int number = 0; !stop.stop_requested(); ++number) {
            const std::unique_lock<Tree> lock(server.get_tree());
            first = Value(number);
            second = Value(number);
        }
    });
    const std::string value_start = "<Value xsi:type=\"xsd:int\">";
    for (int count = 0; count < 100; ++count) {
        const std::string body =
            server.call(R"(<Browse ReturnPropertyValues="1"><PropertyNames>value</PropertyNames></Browse>)")
                .body;
        const auto left = body.find(value_start);
        const auto right = body.rfind(value_start);
        EXPECT_NE(left, right) << body;
        EXPECT_EQ(body.substr(left, body.find('/', left) - left),
                  body.substr(right, body.find('/', right) - right));
    }
    host.stop();
}

TEST(BrowseNames, AnyTextArrivesUnharmed) {
    const std::vector<std::string> names = {"<b>&amp;<b>",
                                            R"(say "hi" & 'bye')",
                                            "]]>",
                                            "<!-- x -->",
                                            "  two  spaces ",
                                            "\xC3\xA4\xC3\xB6\xC3\xBC",
                                            "\xE6\xB8\xA9\xE5\xBA\xA6",
                                            "\xF0\x9F\x94\xA5",
                                            "%41&#65;",
                                            "..."};
    TestServer server;
    for (const std::string& name : names) {
        server.get_root().add_variable(name, Value(1));
    }
    EXPECT_EQ(get_names(server.call("<Browse/>").body), names);
}

TEST(BrowseNames, MarkupIsEscaped) {
    TestServer server;
    server.get_root().add_domain(R"(<a & "b">)");
    expect_success(server.call("<Browse/>"),
                   "<BrowseResponse>" +
                       element_text("&lt;a &amp; &quot;b&quot;&gt;", "/&lt;a &amp; &quot;b&quot;&gt;") +
                       create_result("BrowseResult") + "</BrowseResponse>");
}

TEST(BrowseNames, EscapedNameCanBeSentBack) {
    TestServer server;
    server.get_root().add_domain(R"(<a & "b">)").add_variable("x", Value(1));
    expect_success(server.call(R"(<Browse ItemName="/&lt;a &amp; &quot;b&quot;&gt;"/>)"),
                   "<BrowseResponse>" + element_text("x", "/&lt;a &amp; &quot;b&quot;&gt;/x") +
                       create_result("BrowseResult") + "</BrowseResponse>");
}

}  // namespace
}  // namespace kx::information_model::opc::testing
