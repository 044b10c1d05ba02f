#include "odd_items.h"
#include "property_replies.h"
#include "support/StderrCapture.h"
#include "support/TestServer.h"
#include "support/replies.h"

#include <gtest/gtest.h>

#include <mutex>

namespace kx::information_model::opc::testing {
namespace {

/// "/boiler" with the variable "temperature".
class GetPropertiesService : public WireTest {
protected:
    GetPropertiesService() {
        server.get_root()
            .add_domain("boiler", {.description = "Steam boiler 1"})
            .add_variable("temperature", Value(21.5), {.description = "Drum temperature"});
    }

    /// Sends a request with these children and expects these lists and this text on the standard error
    /// stream.
    void expect_lists(const std::string& children, const std::string& lists,
                      const std::string& diagnostics = {}) {
        SCOPED_TRACE(children);
        StderrCapture capture;
        expect_success(server.call("<GetProperties>" + children + "</GetProperties>"),
                       "<GetPropertiesResponse>" + lists + create_result("GetPropertiesResult") +
                           "</GetPropertiesResponse>");
        EXPECT_EQ(capture.stop(), diagnostics);
    }

    void expect_tree_is_unlocked() {
        const std::unique_lock<Tree> lock(server.get_tree(), std::try_to_lock);
        EXPECT_TRUE(lock.owns_lock());
    }

    const std::string root = list_text("plant", "/");
    const std::string boiler = list_text("boiler", "/boiler");
    const std::string temperature = list_text("temperature", "/boiler/temperature");
};

TEST_F(GetPropertiesService, WithoutItemsThereIsOnlyTheResult) {
    expect_lists("", "");
    expect_lists("<PropertyNames>value</PropertyNames>", "");
}

TEST_F(GetPropertiesService, WithoutPropertiesListsAreEmpty) {
    expect_lists(R"(<ItemIDs ItemName="/boiler"/><ItemIDs ItemName="/boiler/temperature"/>)",
                 boiler + temperature);
}

TEST_F(GetPropertiesService, ItemsWithoutNameAreTheRoot) {
    expect_lists("<ItemIDs/>", root);
    expect_lists(R"(<ItemIDs ItemName=""/>)", root);
    expect_lists(R"(<ItemIDs ItemName="."/>)", root);
    expect_lists(R"(<ItemIDs ItemName="/"/>)", root);
}

TEST_F(GetPropertiesService, EveryFormOfAPathGivesTheAbsoluteOne) {
    for (const char* name : {"/boiler/temperature", "boiler/temperature", "./boiler/temperature"}) {
        expect_lists("<ItemIDs ItemName=\"" + std::string(name) + "\"/>", temperature);
    }
}

TEST_F(GetPropertiesService, ListsStandInTheOrderOfTheRequestWithDuplicates) {
    expect_lists(R"(<ItemIDs ItemName="boiler/temperature"/><ItemIDs ItemName="/"/>)"
                 R"(<ItemIDs ItemName="/boiler/temperature"/><ItemIDs ItemName="boiler"/>)",
                 temperature + root + temperature + boiler);
}

TEST_F(GetPropertiesService, EachListHoldsThePropertiesOfItsItem) {
    expect_success(
        server.call(R"(<GetProperties ReturnPropertyValues="true" ClientRequestHandle="h">)"
                    R"(<ItemIDs ItemName="boiler"/><ItemIDs ItemName="boiler/temperature"/>)"
                    R"(<PropertyNames>value</PropertyNames><PropertyNames>description</PropertyNames>)"
                    R"(</GetProperties>)"),
        "<GetPropertiesResponse>" +
            list_text("boiler", "/boiler", property_text("description", "xsd:string", "Steam boiler 1")) +
            list_text("temperature", "/boiler/temperature",
                      property_text("value", "xsd:double", "21.500000") +
                          property_text("description", "xsd:string", "Drum temperature")) +
            create_result("GetPropertiesResult", "h") + "</GetPropertiesResponse>");
}

TEST_F(GetPropertiesService, UnknownItemIsLeftOutAndNamed) {
    expect_lists(R"(<ItemIDs ItemName="/boiler"/><ItemIDs ItemName="/x &amp; y"/><ItemIDs ItemName="/"/>)",
                 boiler + root, "error not found: /x & y\n");
}

TEST_F(GetPropertiesService, UnknownItemsAreNamedAsTheyWereAskedFor) {
    expect_lists(R"(<ItemIDs ItemName="x"/><ItemIDs ItemName="./x"/><ItemIDs ItemName="/x"/>)"
                 R"(<ItemIDs ItemName="x"/><ItemIDs ItemName="boiler/temperature/x"/>)",
                 "",
                 "error not found: x\nerror not found: ./x\nerror not found: /x\nerror not found: x\n"
                 "error not found: boiler/temperature/x\n");
    expect_tree_is_unlocked();
}

TEST_F(GetPropertiesService, MalformedItemNameIsABadRequest) {
    for (const char* name : {"//", "boiler/", "..", "boiler/./temperature"}) {
        SCOPED_TRACE(name);
        StderrCapture capture;
        expect_bad_request(
            server.call(R"(<GetProperties><ItemIDs ItemName="/boiler"/><ItemIDs ItemName="/x"/>)"
                        "<ItemIDs ItemName=\"" +
                        std::string(name) + "\"/></GetProperties>"));
        EXPECT_EQ(capture.stop(), "");
    }
}

TEST_F(GetPropertiesService, FlagThatIsNoBoolIsABadRequest) {
    for (const char* flag : {"ReturnAllProperties", "ReturnPropertyValues"}) {
        expect_bad_request(server.call("<GetProperties " + std::string(flag) + "=\"maybe\"/>"));
    }
}

TEST_F(GetPropertiesService, ItemPathsAndErrorTextsAreNotRead) {
    expect_success(server.call(R"(<GetProperties ItemPath="x" ReturnErrorText="maybe" LocaleID="de-DE">)"
                               R"(<ItemIDs ItemPath="x" ItemName="/boiler"/></GetProperties>)"),
                   "<GetPropertiesResponse>" + boiler + create_result("GetPropertiesResult") +
                       "</GetPropertiesResponse>");
}

TEST_F(GetPropertiesService, ItemNameIsReadWithoutANamespaceOnly) {
    expect_lists(
        R"(<ItemIDs xmlns:q="http://opcfoundation.org/webservices/XMLDA/1.0/" q:ItemName="/boiler"/>)", root);
}

TEST_F(GetPropertiesService, OnlyItemIdChildrenCount) {
    expect_lists(
        R"(text<!-- --><Items ItemName="/boiler"/><itemIDs ItemName="/boiler"/><ItemIDs xmlns="" ItemName="/x"/>)"
        R"(<ItemList><ItemIDs ItemName="/boiler"/></ItemList><ItemIDs xmlns="urn:other" ItemName="/x"/>)"
        R"(<q:ItemIDs xmlns:q="http://opcfoundation.org/webservices/XMLDA/1.0/" ItemName="/boiler"/>)",
        boiler);
}

TEST_F(GetPropertiesService, AttributesAreReadWithANamespaceToo) {
    expect_success(
        server.call(R"(<q:GetProperties xmlns:q="http://opcfoundation.org/webservices/XMLDA/1.0/")"
                    R"( q:ReturnPropertyValues="yes" q:ReturnAllProperties="on" q:ClientRequestHandle="h">)"
                    R"(<q:ItemIDs ItemName="/boiler"/></q:GetProperties>)"),
        "<GetPropertiesResponse>" +
            list_text("boiler", "/boiler",
                      property_text("description", "xsd:string", "Steam boiler 1") +
                          property_text("telvix:patternType", "xsd:string", "common.Any")) +
            create_result("GetPropertiesResult", "h") + "</GetPropertiesResponse>");
}

TEST_F(GetPropertiesService, ItemOfUnknownTypeIsABadRequest) {
    Item& boiler_item = server.get_root().get_item(Path("/boiler"), false);
    const ItemOfUnknownType odd(boiler_item);
    StderrCapture capture;
    expect_bad_request(server.call(
        R"(<GetProperties><ItemIDs ItemName="/x"/><ItemIDs ItemName="/boiler"/></GetProperties>)"));
    EXPECT_EQ(capture.stop(), "error not found: /x\n");
    expect_tree_is_unlocked();
}

TEST_F(GetPropertiesService, MarkupInNamesIsEscaped) {
    server.get_root().add_variable(R"(<a & "b">)", Value(1));
    expect_lists(R"(<ItemIDs ItemName="/&lt;a &amp; &quot;b&quot;&gt;"/>)",
                 list_text("&lt;a &amp; &quot;b&quot;&gt;", "/&lt;a &amp; &quot;b&quot;&gt;"));
}

}  // namespace
}  // namespace kx::information_model::opc::testing
