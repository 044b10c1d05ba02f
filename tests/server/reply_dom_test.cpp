#include "server/reply_dom.h"

#include "server/envelope.h"
#include "server/serialize.h"
#include "support/reply_text.h"

#include <Poco/DOM/DOMException.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

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

TEST(AppendElement, AppendsToItsParent) {
    auto document = create_reply_document();
    auto root = create_element(*document, "root");
    const auto first = append_element(*root, "first");
    const auto second = append_element(*root, "second");
    EXPECT_EQ(root->firstChild(), first.get());
    EXPECT_EQ(first->nextSibling(), second.get());
    EXPECT_EQ(second->parentNode(), root.get());
}

TEST(SetAttribute, ReplacesWhatXmlCannotCarry) {
    auto document = create_reply_document();
    auto root = create_element(*document, "root");
    set_attribute(*root, "a", "x\x01y\xFFz");
    set_attribute(*root, "b", "\xC3\xA4\t<");
    EXPECT_EQ(to_text(*root), "<root a=\"x\xEF\xBF\xBDy\xEF\xBF\xBDz\" b=\"\xC3\xA4&#x9;&lt;\"/>");
    set_attribute(*root, "a", "again");
    EXPECT_EQ(to_text(*root), "<root a=\"again\" b=\"\xC3\xA4&#x9;&lt;\"/>");
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

TEST(AppendText, RefusesAnElementWithChildren) {
    auto document = create_reply_document();
    auto root = create_element(*document, "root");
    append_element(*root, "child");
    EXPECT_THROW(append_text(*root, "text"), std::logic_error);
}

TEST(AppendEnvelope, ReturnsTheBodyInTheDocument) {
    auto document = create_reply_document();
    const auto body = append_envelope(*document);
    EXPECT_EQ(body->tagName(), "soap:Body");
    EXPECT_EQ(body->parentNode(), document->documentElement());
    EXPECT_EQ(document->documentElement()->tagName(), "soap:Envelope");
    EXPECT_EQ(body->firstChild(), nullptr);
}

TEST(ReplyElement, AppendsInOrder) {
    auto document = create_reply_document();
    auto list = create_element(*document, "list");
    document->appendChild(list);
    for (const std::string name : {"a", "b", "c"}) {
        append_text(*append_element(*list, name), name);
    }
    EXPECT_EQ(serialize(document), DECLARATION + "<list><a>a</a><b>b</b><c>c</c></list>");
}

TEST(ReplyElement, KeepsItsChildrenAlive) {
    auto document = create_reply_document();
    auto list = create_element(*document, "list");
    const Poco::XML::Node* child = append_element(*list, "child").get();
    EXPECT_EQ(list->firstChild(), child);
    EXPECT_EQ(child->parentNode(), list.get());
    EXPECT_EQ(child->nodeName(), "child");
}

TEST(ReplyElement, ReturnsTheChild) {
    auto document = create_reply_document();
    auto list = create_element(*document, "list");
    auto child = create_element(*document, "child");
    EXPECT_EQ(list->appendChild(child), child.get());
}

TEST(ReplyElement, RefusesNodesOfOtherDocuments) {
    auto document = create_reply_document();
    auto other = create_reply_document();
    auto list = create_element(*document, "list");
    auto foreign = create_element(*other, "child");
    EXPECT_THROW(list->appendChild(foreign), Poco::XML::DOMException);
    EXPECT_EQ(list->firstChild(), nullptr);
}

TEST(ReplyElement, IsWrittenLikeAnyElement) {
    auto document = create_reply_document();
    auto list = create_element(*document, "xsd:list");
    set_attribute(*list, "b", "1");
    set_attribute(*list, "a", "2");
    document->appendChild(list);
    EXPECT_EQ(list->tagName(), "xsd:list");
    EXPECT_EQ(serialize(document), DECLARATION + R"(<xsd:list a="2" b="1"/>)");
}

// A plain element would need a quarter of a million million steps, more than a test is given.
TEST(ReplyElement, TakesManyChildren) {
    auto document = create_reply_document();
    auto list = create_element(*document, "list");
    constexpr int COUNT = 700000;
    for (int number = 0; number < COUNT; ++number) {
        append_element(*list, "a");
    }
    int count = 0;
    for (const auto* child = list->firstChild(); child != nullptr; child = child->nextSibling()) {
        ++count;
    }
    EXPECT_EQ(count, COUNT);
}

}  // namespace
}  // namespace kx::information_model::opc
