// Texts that XML cannot carry, from the tree and from clients. Replies are read with expat alone, which
// shares nothing with what writes them.

#include "support/StderrCapture.h"
#include "support/TestServer.h"
#include "support/replies.h"

#include <information_model/Variable.h>

#include <expat.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace kx::information_model::opc::testing {
namespace {

struct XmlElement {
    std::string name;
    std::map<std::string, std::string> attributes;
    std::string text;  ///< its own and that of its descendants
};

/// The elements of a document in the order in which they begin; none if it is not well-formed.
class Reading {
public:
    explicit Reading(const std::string& xml) {
        const std::unique_ptr<XML_ParserStruct, decltype(&XML_ParserFree)> parser(XML_ParserCreate(nullptr),
                                                                                  XML_ParserFree);
        XML_SetUserData(parser.get(), this);
        XML_SetElementHandler(parser.get(), start, end);
        XML_SetCharacterDataHandler(parser.get(), add_text);
        if (XML_Parse(parser.get(), xml.data(), static_cast<int>(xml.size()), XML_TRUE) != XML_STATUS_OK) {
            elements_.clear();
        }
    }

    const std::vector<XmlElement>& get_elements() const { return elements_; }

private:
    static void start(void* reading, const XML_Char* name, const XML_Char** attributes) {
        auto& self = *static_cast<Reading*>(reading);
        self.open_.push_back(self.elements_.size());
        self.elements_.push_back({name, {}, {}});
        for (; *attributes != nullptr; attributes += 2) {
            self.elements_.back().attributes[attributes[0]] = attributes[1];
        }
    }

    static void end(void* reading, const XML_Char* /*name*/) {
        static_cast<Reading*>(reading)->open_.pop_back();
    }

    static void add_text(void* reading, const XML_Char* text, int length) {
        auto& self = *static_cast<Reading*>(reading);
        for (const std::size_t index : self.open_) {
            self.elements_[index].text.append(text, static_cast<std::size_t>(length));
        }
    }

    std::vector<XmlElement> elements_;
    std::vector<std::size_t> open_;
};

const std::vector<std::string> PIECES = {
    "a",
    "text",
    "<",
    ">",
    "&",
    "\"",
    "'",
    "]]>",
    "&amp;",
    "&#0;",
    "<!--",
    "\t",
    "\n",
    "\r",
    " ",
    std::string(1, '\0'),
    "\x01",
    "\x0b",
    "\x1b",
    "\x7f",
    "\x80",              // continues nothing
    "\xc3",              // begins what does not come
    "\xc3\xa4",          // a letter
    "\xc0\x80",          // zero, too long
    "\xc1\xbf",          // too long
    "\xe0\x80\x80",      // too long
    "\xe2\x82",          // cut off
    "\xe2\x82\xac",      // the euro
    "\xed\xa0\x80",      // half of a pair
    "\xef\xbf\xbd",      // U+FFFD itself
    "\xef\xbf\xbe",      // U+FFFE
    "\xef\xbf\xbf",      // U+FFFF
    "\xef\xbb\xbf",      // the byte order mark
    "\xf0\x9f\x98\x80",  // beyond 16 bits
    "\xf0\x9f\x98",      // cut off
    "\xf4\x8f\xbf\xbf",  // the last code point
    "\xf4\x90\x80\x80",  // beyond the last
    "\xf8\x88\x80\x80\x80",
    "\xfe",
    "\xff",
};

class TextMaker {
public:
    std::string make() {
        std::string text;
        for (std::size_t count = random_() % 12; count > 0; --count) {
            if (random_() % 4 == 0) {
                text += static_cast<char>(static_cast<unsigned char>(random_() % 256));
            } else {
                text += PIECES[random_() % PIECES.size()];
            }
        }
        return text;
    }

    /// Without what no part of a path may hold.
    std::string make_name() {
        static const std::array<std::string, 8> PARTS = {
            "a", "<&>\"'", "\xef\xbf\xbd", "\xc2\xa0", "\xf0\x9f\x98\x80", "\xc3\xa4", "]]>", " "};
        std::string name = "n" + std::to_string(number_++);
        for (std::size_t count = random_() % 6; count > 0; --count) {
            name += PARTS[random_() % PARTS.size()];
        }
        return name;
    }

private:
    std::minstd_rand random_{20261121};
    int number_ = 0;
};

std::string repeat_items(const std::vector<std::string>& names, const std::string& element = "Items") {
    std::string items;
    for (const std::string& name : names) {
        items += "<" + element + " ItemName=\"" + name + "\"/>";
    }
    return items;
}

/// A tree of "first" and "last", which are as they should be, and what the test puts between.
class HostileText : public WireTest {
protected:
    HostileText() { add("first"); }

    void add(const std::string& name) {
        server.get_root().add_variable(name, Value("plain " + name),
                                       {.description = "about " + name, .engineering_unit = "degC"});
    }

    static std::vector<XmlElement> find(const std::vector<XmlElement>& elements, const std::string& name) {
        std::vector<XmlElement> found;
        std::copy_if(elements.begin(), elements.end(), std::back_inserter(found),
                     [&](const XmlElement& element) { return element.name == name; });
        return found;
    }

    /// Reads a reply that must be a success.
    static std::vector<XmlElement> read(const Reply& reply) {
        EXPECT_EQ(reply.status, 200);
        const std::vector<XmlElement> elements = Reading(reply.body).get_elements();
        EXPECT_FALSE(elements.empty()) << reply.body;
        return elements;
    }

    TextMaker texts_;
};

TEST_F(HostileText, InValuesHarmsNoOtherItem) {
    std::vector<std::string> names;
    std::vector<Variable*> variables;
    for (int number = 0; number < 50; ++number) {
        names.push_back("v" + std::to_string(number));
        variables.push_back(&server.get_root().add_variable(names.back(), Value("")));
    }
    names.insert(names.begin(), "first");
    names.push_back("last");
    add("last");
    const std::string request = "<Read><ItemList>" + repeat_items(names) + "</ItemList></Read>";
    for (int round = 0; round < 20; ++round) {
        for (Variable* const variable : variables) {
            *variable = Value(texts_.make());
        }
        const std::vector<XmlElement> items = find(read(server.call(request)), "Items");
        ASSERT_EQ(items.size(), names.size());
        EXPECT_EQ(items.front().text, "plain first");
        EXPECT_EQ(items.back().text, "plain last");
        for (std::size_t index = 0; index < items.size(); ++index) {
            EXPECT_EQ(items[index].attributes.at("ItemName"), "/" + names[index]);
        }
    }
}

TEST_F(HostileText, InMembersOfArraysHarmsNoOtherMember) {
    Variable& variable = server.get_root().add_variable("v", Value(std::vector<std::string>()));
    for (int round = 0; round < 200; ++round) {
        std::vector<std::string> members = {"one", texts_.make(), texts_.make(), "four"};
        variable = Value(members);
        const auto found = find(
            read(server.call("<Read><ItemList>" + repeat_items({"v"}) + "</ItemList></Read>")), "string");
        ASSERT_EQ(found.size(), 4U);
        EXPECT_EQ(found.front().text, "one");
        EXPECT_EQ(found.back().text, "four");
    }
}

TEST_F(HostileText, InNamesDescriptionsAndUnitsHarmsNoOtherElement) {
    for (int number = 0; number < 300; ++number) {
        server.get_root().add_variable(texts_.make_name(), Value(1.5),
                                       {.description = texts_.make(), .engineering_unit = texts_.make()});
    }
    add("last");
    const std::vector<XmlElement> elements =
        read(server.call(R"(<Browse ItemName="/" ReturnAllProperties="true" ReturnPropertyValues="true"/>)"));
    const std::vector<XmlElement> found = find(elements, "Elements");
    ASSERT_EQ(found.size(), 302U);
    EXPECT_EQ(found.front().attributes.at("Name"), "first");
    EXPECT_EQ(found.back().attributes.at("Name"), "last");
    const auto without_times = [](const XmlElement& element, const std::string& name) {
        EXPECT_NE(element.text.find("about " + name), std::string::npos) << element.text;
        EXPECT_NE(element.text.find("plain " + name), std::string::npos) << element.text;
    };
    without_times(found.front(), "first");
    without_times(found.back(), "last");
}

TEST_F(HostileText, InDomainsAndTheirDescriptionsHarmsNothing) {
    for (int round = 0; round < 50; ++round) {
        Domain& domain = server.get_root().add_domain(
            texts_.make_name(), {.description = texts_.make(), .identity = Identity(texts_.make())});
        domain.add_variable("v", Value(texts_.make()));
    }
    const auto found = find(read(server.call(R"(<Browse ItemName="/" ReturnAllProperties="true")"
                                             R"( ReturnPropertyValues="true"/>)")),
                            "Elements");
    EXPECT_EQ(found.size(), 51U);
}

// A client's bytes are refused, or come back as XML.
TEST_F(HostileText, FromClientsIsRefusedOrComesBackWellFormed) {
    const StderrCapture diagnostics;  // names of items that do not exist
    int accepted = 0;
    for (int round = 0; round < 1000; ++round) {
        const std::string text = texts_.make();
        const std::vector<std::string> requests = {
            "<GetStatus ClientRequestHandle=\"" + text + "\"/>",
            "<Read><ItemList><Items ItemName=\"first\" ClientItemHandle=\"" + text +
                "\"/><Items ItemName=\"" + text + "\"/></ItemList></Read>",
            "<GetProperties ReturnAllProperties=\"true\"><ItemIDs ItemName=\"" + text +
                "\"/></GetProperties>",
            "<SubscriptionPolledRefresh><ServerSubHandles>" + text +
                "</ServerSubHandles></SubscriptionPolledRefresh>",
            "<Browse ItemName=\"" + text + "\"/>",
            "<SubscriptionCancel ServerSubHandle=\"" + text + "\"/>",
        };
        const Reply reply = server.call(requests[static_cast<std::size_t>(round) % requests.size()]);
        if (reply.body == "Bad request") {
            EXPECT_EQ(reply.status, 400);
            continue;
        }
        EXPECT_FALSE(Reading(reply.body).get_elements().empty()) << reply.body;
        accepted += reply.status == 200 ? 1 : 0;
    }
    EXPECT_GT(accepted, 50);
}

// Other than a carriage return, which a reader of XML takes for a line feed.
TEST_F(HostileText, WrittenByClientsIsReadBack) {
    Variable& variable = server.get_root().add_variable("v", Value(""), {.writable = true});
    for (const std::string text : {"&#xFFFD;", "&#x10FFFF;", "&#x9;&#xA;", "]]&gt;", "&lt;a/&gt;"}) {
        const Reply reply = server.call(R"(<Write ReturnValuesOnReply="true"><ItemList><Items ItemName="v">)"
                                        R"(<Value xsi:type="xsd:string">)" +
                                        text + "</Value></Items></ItemList></Write>");
        const auto found = find(read(reply), "Value");
        ASSERT_EQ(found.size(), 1U);
        EXPECT_EQ(Value(found.front().text), variable.get_value());
    }
}

}  // namespace
}  // namespace kx::information_model::opc::testing
