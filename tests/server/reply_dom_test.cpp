#include "server/reply_dom.h"

#include "server/ListElement.h"
#include "server/envelope.h"
#include "server/serialize.h"

#include <Poco/DOM/DOMException.h>
#include <Poco/DOM/Text.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace kx::information_model::opc {
namespace {

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
    EXPECT_EQ(root->getAttribute("a"), "x\xEF\xBF\xBDy\xEF\xBF\xBDz");
    EXPECT_EQ(root->getAttribute("b"), "\xC3\xA4\t<");
    set_attribute(*root, "a", "again");
    EXPECT_EQ(root->getAttribute("a"), "again");
}

TEST(AppendText, ReplacesWhatXmlCannotCarry) {
    auto document = create_reply_document();
    auto root = create_element(*document, "root");
    append_text(*root, std::string("a\0b", 3));
    EXPECT_EQ(root->innerText(),
              "a\xEF\xBF\xBD"
              "b");
}

TEST(AppendText, AppendsANodeForAnEmptyText) {
    auto document = create_reply_document();
    auto root = create_element(*document, "root");
    append_text(*root, "");
    ASSERT_NE(root->firstChild(), nullptr);
    EXPECT_EQ(root->firstChild()->nodeType(), Poco::XML::Node::TEXT_NODE);
    document->appendChild(root);
    EXPECT_EQ(serialize(document), DECLARATION + "<root/>");
}

TEST(AppendEnvelope, ReturnsTheBodyInTheDocument) {
    auto document = create_reply_document();
    const auto body = append_envelope(*document);
    EXPECT_EQ(body->tagName(), "soap:Body");
    EXPECT_EQ(body->parentNode(), document->documentElement());
    EXPECT_EQ(document->documentElement()->tagName(), "soap:Envelope");
    EXPECT_EQ(body->firstChild(), nullptr);
}

TEST(ListElement, AppendsInOrder) {
    auto document = create_reply_document();
    auto list = create_list_element(*document, "list");
    document->appendChild(list);
    append_text(*list, "start");
    for (const std::string name : {"a", "b", "c"}) {
        append_text(*append_element(*list, name), name);
    }
    append_text(*list, "end");
    EXPECT_EQ(serialize(document), DECLARATION + "<list>start<a>a</a><b>b</b><c>c</c>end</list>");
}

TEST(ListElement, KeepsItsChildrenAlive) {
    auto document = create_reply_document();
    auto list = create_list_element(*document, "list");
    const Poco::XML::Node* child = append_element(*list, "child").get();
    EXPECT_EQ(list->firstChild(), child);
    EXPECT_EQ(child->parentNode(), list.get());
    EXPECT_EQ(child->nodeName(), "child");
}

TEST(ListElement, ReturnsTheChild) {
    auto document = create_reply_document();
    auto list = create_list_element(*document, "list");
    auto child = create_element(*document, "child");
    EXPECT_EQ(list->appendChild(child), child.get());
}

TEST(ListElement, RefusesNodesOfOtherDocuments) {
    auto document = create_reply_document();
    auto other = create_reply_document();
    auto list = create_list_element(*document, "list");
    auto foreign = create_element(*other, "child");
    EXPECT_THROW(list->appendChild(foreign), Poco::XML::DOMException);
    EXPECT_EQ(list->firstChild(), nullptr);
}

TEST(ListElement, IsWrittenLikeAnyElement) {
    auto document = create_reply_document();
    auto list = create_list_element(*document, "xsd:list");
    set_attribute(*list, "b", "1");
    set_attribute(*list, "a", "2");
    document->appendChild(list);
    EXPECT_EQ(list->tagName(), "xsd:list");
    EXPECT_EQ(serialize(document), DECLARATION + R"(<xsd:list a="2" b="1"/>)");
}

// A plain element would need a quarter of a million million steps, more than a test is given.
TEST(ListElement, TakesManyChildren) {
    auto document = create_reply_document();
    auto list = create_list_element(*document, "list");
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
