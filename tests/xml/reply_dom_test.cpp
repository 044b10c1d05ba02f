#include "xml/reply/reply_dom.h"

#include "server/message/envelope.h"
#include "support/reply_text.h"

#include <Poco/Exception.h>

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace kx::information_model::opc {
namespace {

using testing::to_text;

const std::string DECLARATION = R"(<?xml version="1.0" encoding="utf-8"?>)";

TEST(CreateReplyDocument, RaisesNoMutationEvents) {
    const auto document = create_reply_document();
    EXPECT_FALSE(document->events());
    EXPECT_EQ(document->firstChild(), nullptr);
}

TEST(CreateElement, MakesAnElementWithoutNamespace) {
    const auto document = create_reply_document();
    const auto element = create_element(*document, "soap:Body");
    EXPECT_EQ(element->tagName(), "soap:Body");
    EXPECT_TRUE(element->namespaceURI().empty());
    EXPECT_EQ(element->ownerDocument(), document.get());
    EXPECT_EQ(element->parentNode(), nullptr);
}

TEST(SetAttribute, ReplacesWhatXmlCannotCarry) {
    auto document = create_reply_document();
    auto root = create_element(*document, "root");
    set_attribute(*root, "a", "x\x01y\xFFz");
    set_attribute(*root, "b", "\xC3\xA4\t<");
    EXPECT_EQ(to_text(*root), "<root a=\"x\xEF\xBF\xBDy\xEF\xBF\xBDz\" b=\"\xC3\xA4&#x9;&lt;\"/>");
}

TEST(SetAttribute, ReplacesWhatWasSetBefore) {
    auto document = create_reply_document();
    auto root = create_element(*document, "root");
    set_attribute(*root, "b", "first");
    set_attribute(*root, "c", "1");
    set_attribute(*root, "a", "2");
    set_attribute(*root, "b", "again");
    EXPECT_EQ(to_text(*root), R"(<root a="2" b="again" c="1"/>)");
}

TEST(AppendText, ReplacesWhatXmlCannotCarry) {
    auto document = create_reply_document();
    auto root = create_element(*document, "root");
    append_text(*root, std::string("a\0b", 3));
    EXPECT_EQ(to_text(*root),
              "<root>a\xEF\xBF\xBD"
              "b</root>");
}

TEST(AppendText, LeavesAnElementEmptyForAnEmptyText) {
    auto document = create_reply_document();
    auto root = create_element(*document, "root");
    append_text(*root, "");
    EXPECT_EQ(to_text(*root), "<root/>");
}

TEST(AppendText, AppendsToTheTextBefore) {
    auto document = create_reply_document();
    auto root = create_element(*document, "root");
    append_text(*root, "a<");
    append_text(*root, ">b");
    EXPECT_EQ(to_text(*root), "<root>a&lt;&gt;b</root>");
}

TEST(CreateEnvelope, PutsTheContentIntoTheBody) {
    auto document = create_reply_document();
    create_envelope(*document, create_element(*document, "content"));
    EXPECT_EQ(to_text(document),
              DECLARATION + R"(<soap:Envelope xmlns="http://opcfoundation.org/webservices/XMLDA/1.0/")"
                            R"( xmlns:soap="http://schemas.xmlsoap.org/soap/envelope/")"
                            R"( xmlns:telvix="urn:telvix:information-model:1.0")"
                            R"( xmlns:xsd="http://www.w3.org/2001/XMLSchema")"
                            R"( xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance">)"
                            "<soap:Body><content/></soap:Body></soap:Envelope>");
}

TEST(CreateEnvelope, RefusesNoContent) {
    auto document = create_reply_document();
    EXPECT_THROW(create_envelope(*document, nullptr), std::logic_error);
}

TEST(GetReplyText, RefusesWhatIsNoReply) {
    const Poco::AutoPtr<Poco::XML::Document> plain = new Poco::XML::Document;
    EXPECT_THROW(get_reply_text(plain), std::bad_cast);
    EXPECT_THROW(get_reply_text(nullptr), Poco::NullPointerException);
}

}  // namespace
}  // namespace kx::information_model::opc
