#include "xml/reply/ReplyElement.h"

#include "server/message/envelope.h"
#include "support/allocation_count.h"
#include "support/reply_text.h"
#include "xml/reply/ChildWriter.h"
#include "xml/reply/reply_dom.h"

#include <Poco/DOM/Comment.h>
#include <Poco/DOM/Text.h>

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace kx::information_model::opc {
namespace {

using testing::to_text;

class Replies : public ::testing::Test {
protected:
    Poco::AutoPtr<Poco::XML::Element> create_item(int number) const {
        auto item = create_element(*document, "Item");
        set_attribute(*item, "number", std::to_string(number));
        auto value = create_element(*document, "Value");
        append_text(*value, "text");
        set_attribute(*value, "type", "t");
        item->appendChild(value);
        return item;
    }

    Poco::AutoPtr<Poco::XML::Document> document = create_reply_document();
    Poco::AutoPtr<Poco::XML::Element> list = create_element(*document, "List");
};

TEST_F(Replies, HoldWhatIsAppendedInItsOrder) {
    set_attribute(*list, "before", "1");
    append_text_element(*list, "a", "<");
    list->appendChild(create_item(1));
    set_attribute(*list, "after", "2");
    append_text_element(*list, "b", "");
    list->appendChild(create_element(*document, "c"));
    EXPECT_EQ(to_text(*list),
              R"(<List after="2" before="1"><a>&lt;</a><Item number="1"><Value type="t">text</Value></Item>)"
              R"(<b/><c/></List>)");
}

TEST_F(Replies, MayBeBuiltSideBySide) {
    auto root = create_element(*document, "root");
    auto kept = create_element(*document, "kept");
    for (int number = 0; number < 100; ++number) {
        list->appendChild(create_item(number));
    }
    set_attribute(*kept, "a", "b");
    root->appendChild(kept);
    EXPECT_EQ(to_text(*root), R"(<root><kept a="b"/></root>)");
}

// A list of a million items takes its text and one item.
TEST_F(Replies, TakeNoMemoryForEachItemBeyondItsText) {
    for (int number = 0; number < 10'000; ++number) {
        list->appendChild(create_item(number));  // the text has grown to pieces of the largest size
    }
    const std::size_t before = testing::get_allocated_size();
    for (int number = 0; number < 1000; ++number) {
        list->appendChild(create_item(number));
    }
    EXPECT_LT(testing::get_allocated_size() - before, 200'000U);
    EXPECT_GT(to_text(*list).size(), 500'000U);
}

TEST_F(Replies, HaveEitherTextOrChildren) {
    append_text(*list, "text");
    EXPECT_THROW(append_text_element(*list, "late", ""), std::logic_error);
    EXPECT_THROW(list->appendChild(create_item(1)), std::logic_error);
    EXPECT_EQ(to_text(*list), "<List>text</List>");
    auto other = create_element(*document, "other");
    other->appendChild(create_element(*document, "child"));
    EXPECT_THROW(append_text(*other, "text"), std::logic_error);
    EXPECT_EQ(to_text(*other), "<other><child/></other>");
}

TEST_F(Replies, ChangeNothingOnceItIsAppended) {
    auto item = create_item(1);
    list->appendChild(item);
    EXPECT_THROW(set_attribute(*item, "late", "1"), std::logic_error);
    EXPECT_THROW(append_text(*item, "late"), std::logic_error);
    EXPECT_THROW(append_text_element(*item, "late", "1"), std::logic_error);
    EXPECT_THROW(item->appendChild(create_item(2)), std::logic_error);
    EXPECT_THROW(list->appendChild(item), std::logic_error);
    EXPECT_EQ(to_text(*list), R"(<List><Item number="1"><Value type="t">text</Value></Item></List>)");
}

TEST_F(Replies, TakeOpenElementsOfTheirOwnOnly) {
    const auto other_document = create_reply_document();
    const Poco::AutoPtr<Poco::XML::Document> plain = new Poco::XML::Document;
    Poco::AutoPtr<Poco::XML::Text> text = plain->createTextNode("text");
    Poco::AutoPtr<Poco::XML::Comment> comment = document->createComment("comment");
    Poco::AutoPtr<Poco::XML::Element> plain_element = document->createElement("plain");
    auto foreign = create_element(*other_document, "foreign");
    for (Poco::XML::Node* node :
         {static_cast<Poco::XML::Node*>(text.get()), static_cast<Poco::XML::Node*>(comment.get()),
          static_cast<Poco::XML::Node*>(plain_element.get()), static_cast<Poco::XML::Node*>(foreign.get()),
          static_cast<Poco::XML::Node*>(list.get()), static_cast<Poco::XML::Node*>(nullptr)}) {
        EXPECT_THROW(list->appendChild(node), std::logic_error);
    }
    EXPECT_THROW(document->appendChild(plain_element), std::logic_error);
    EXPECT_THROW(document->appendChild(foreign), std::logic_error);
    EXPECT_THROW(set_attribute(*plain_element, "a", "b"), std::bad_cast);
    EXPECT_THROW(create_element(*plain, "a"), std::bad_cast);
    EXPECT_EQ(to_text(*list), "<List/>");
}

TEST_F(Replies, AreOnlyAppendedTo) {
    auto child = create_element(*document, "child");
    EXPECT_THROW(list->insertBefore(child, nullptr), std::logic_error);
    EXPECT_THROW(list->replaceChild(child, child), std::logic_error);
    EXPECT_THROW(list->removeChild(child), std::logic_error);
    EXPECT_THROW(list->cloneNode(true), std::logic_error);
    EXPECT_THROW(document->insertBefore(child, nullptr), std::logic_error);
    EXPECT_THROW(document->replaceChild(child, child), std::logic_error);
    EXPECT_THROW(document->removeChild(child), std::logic_error);
}

// POCO's function cannot be replaced, and would be lost in silence.
TEST_F(Replies, RefuseAttributesThatPocoKeeps) {
    auto item = create_item(1);
    item->setAttribute("a", "b");
    EXPECT_THROW(list->appendChild(item), std::logic_error);
    EXPECT_EQ(to_text(*list), "<List/>");
    auto root = create_element(*document, "root");
    root->setAttribute("a", "b");
    EXPECT_THROW(document->appendChild(root), std::logic_error);
}

TEST_F(Replies, HaveOneRoot) {
    EXPECT_THROW(get_reply_text(document), std::logic_error);
    document->appendChild(list);
    EXPECT_THROW(document->appendChild(create_element(*document, "second")), std::logic_error);
    EXPECT_THROW(set_attribute(*list, "late", "1"), std::logic_error);
    EXPECT_EQ(to_text(document), R"(<?xml version="1.0" encoding="utf-8"?><List/>)");
}

class WrittenChildren : public Replies {};

TEST_F(WrittenChildren, StandBetweenThoseThatAreAppended) {
    list->appendChild(create_item(1));
    {
        ChildWriter writer(*list);
        writer.begin("a");
        writer.set_attribute("x", "<\t\x01");
        writer.set_attribute("y", {});
        writer.begin("b");
        writer.append_text("");
        writer.append_text("<\t\x01");
        writer.append_text("more");
        writer.end("b");
        writer.append_text_element("c", "1");
        writer.append_text_element("d", "");
        writer.end("a");
        writer.begin("e");
        writer.end("e");
    }
    append_text_element(*list, "f", "2");
    EXPECT_EQ(to_text(*list),
              "<List><Item number=\"1\"><Value type=\"t\">text</Value></Item>"
              "<a x=\"&lt;&#x9;\xEF\xBF\xBD\" y=\"\"><b>&lt;\t\xEF\xBF\xBDmore</b><c>1</c><d/></a><e/>"
              "<f>2</f></List>");
}

TEST_F(WrittenChildren, MayBeOfAnySize) {
    std::string expected = "<List>";
    ChildWriter writer(*list);
    for (std::size_t size = 1; size < 2'000; ++size) {
        const std::string text(size, 'x');
        writer.begin("a");
        writer.set_attribute("b", text);
        writer.append_text(text);
        writer.end("a");
        expected.append("<a b=\"").append(text).append("\">").append(text).append("</a>");
    }
    EXPECT_TRUE(to_text(*list) == expected + "</List>");
}

TEST_F(WrittenChildren, NeedAnOpenParentOfOursWithoutText) {
    const Poco::AutoPtr<Poco::XML::Document> plain = new Poco::XML::Document;
    const Poco::AutoPtr<Poco::XML::Element> plain_element = plain->createElement("plain");
    EXPECT_THROW(ChildWriter{const_cast<Poco::XML::Element&>(*plain_element)}, std::bad_cast);
    auto item = create_item(1);
    list->appendChild(item);
    EXPECT_THROW(ChildWriter{*item}, std::logic_error);
    auto text = create_element(*document, "text");
    append_text(*text, "text");
    EXPECT_THROW(ChildWriter{*text}, std::logic_error);
}

TEST_F(WrittenChildren, SpoilTheParentUnlessTheyEnd) {
    {
        ChildWriter writer(*list);
        writer.begin("a");
        writer.append_text_element("b", std::string(1'000, 'x'));
    }
    auto root = create_element(*document, "root");
    EXPECT_THROW(root->appendChild(list), std::logic_error);
    EXPECT_EQ(to_text(*root), "<root/>");
}

class ReplyLimit : public Replies {
protected:
    ReplyLimit() { static_cast<ReplyDocument&>(*document).limit(100'000); }
};

TEST_F(ReplyLimit, HoldsForAttributes) {
    set_attribute(*list, "a", std::string(90'000, 'x'));
    EXPECT_THROW(set_attribute(*list, "b", std::string(20'000, 'x')), ReplyLimitException);
}

TEST_F(ReplyLimit, HoldsForWrittenChildren) {
    ChildWriter writer(*list);
    writer.begin("a");
    writer.append_text(std::string(90'000, 'x'));
    EXPECT_THROW(writer.append_text(std::string(20'000, '<')), ReplyLimitException);
    const auto write_many = [&] {
        for (int number = 0; number < 20'000; ++number) {
            writer.append_text("y");
        }
    };
    EXPECT_THROW(write_many(), ReplyLimitException);
}

TEST_F(ReplyLimit, SpoilsTheParentOfAChildWhoseEndDoesNotFit) {
    auto root = create_element(*document, "root");
    {
        ChildWriter writer(*list);
        writer.begin("a");
        writer.append_text(std::string(99'800, 'x'));
        writer.append_text(std::string(300, 'y'));  // still in the writer
        EXPECT_THROW(writer.end("a"), ReplyLimitException);
    }
    EXPECT_THROW(root->appendChild(list), std::logic_error);
}

TEST_F(ReplyLimit, HoldsForText) {
    append_text(*list, std::string(90'000, 'x'));
    EXPECT_THROW(append_text(*list, std::string(20'000, '<')), ReplyLimitException);
}

TEST_F(ReplyLimit, HoldsForElementsOfText) {
    append_text_element(*list, "a", std::string(90'000, 'x'));
    EXPECT_THROW(append_text_element(*list, "b", std::string(20'000, 'x')), ReplyLimitException);
}

TEST_F(ReplyLimit, HoldsForItemsOfAList) {
    const auto append_many = [this] {
        for (int number = 0; number < 10'000; ++number) {
            list->appendChild(create_item(number));
        }
    };
    EXPECT_THROW(append_many(), ReplyLimitException);
}

}  // namespace
}  // namespace kx::information_model::opc
