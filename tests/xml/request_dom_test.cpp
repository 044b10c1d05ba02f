#include "xml/request/request_dom.h"

#include "ParsedRequest.h"

#include <Poco/DOM/Attr.h>
#include <Poco/DOM/NamedNodeMap.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <random>
#include <string>
#include <vector>

namespace kx::information_model::opc {
namespace {

using Poco::XML::NamespaceSupport;
using Poco::XML::Node;
using testing::create_element_text;
using testing::ParsedRequest;

// The look-up by path texts that `find_attribute` stands for.
const Node* find_attribute_by_path(const Node& node, const std::string& name,
                                   const NamespaceSupport& namespaces) {
    // POCO's look-up sees no attributes that nobody asked for.
    const Poco::AutoPtr<Poco::XML::NamedNodeMap> made = node.attributes();
    if (const Node* attribute = node.getNodeByPathNS("[@" + name + "]", namespaces)) {
        return attribute;
    }
    const auto colon = name.find(':');
    if (colon == std::string::npos || namespaces.getURI(name.substr(0, colon)).empty()) {
        return nullptr;
    }
    return node.getNodeByPath("[@" + name.substr(colon + 1) + "]");
}

class Picker {
public:
    explicit Picker(unsigned seed) : random_(seed) {}

    std::size_t pick(std::size_t count) {
        return std::uniform_int_distribution<std::size_t>(0, count - 1)(random_);
    }

    const std::string& pick(const std::vector<std::string>& choices) { return choices[pick(choices.size())]; }

    std::string pick_some(std::vector<std::string> choices) {
        std::shuffle(choices.begin(), choices.end(), random_);
        std::string text;
        for (std::size_t count = pick(choices.size() + 1); count > 0; --count) {
            text += choices[count - 1] + " ";
        }
        return text;
    }

private:
    std::mt19937 random_;
};

std::string create_random_element(Picker& picker) {
    static const std::string OTHER_PREFIX =
        " xmlns:o=\"" + xml_namespaces::XMLDA + "\" xmlns:unknown=\"urn:unknown\"";
    const std::string qualified = picker.pick({"da:A='1'", "o:A='2'", "da:B='b'"});
    return create_element_text(picker.pick({"E", "da:E", "x:E"}),
                               OTHER_PREFIX + " " + qualified + " " +
                                   picker.pick_some({"A='3'", "B='4'", "x:A='5'", "x:B='6'", "unknown:A='7'",
                                                     "AB='8'", "type='9'", "o:C='10'", "C='11'", "a='12'"}));
}

TEST(RequestDom, FindsTheAttributeThatAPathLookUpFinds) {
    static const std::vector<std::string> NAMES = {
        "xmlda:A", "xmlda:B", "xmlda:C", "xmlda:type",   "xsi:type",  "A",      "B", "C",
        "type",    "soap:A",  "x:A",     "undeclared:A", "unknown:A", "xmlda:", "D"};
    std::size_t found = 0;
    for (unsigned seed = 0; seed < 3000; ++seed) {
        Picker picker(seed);
        const std::string xml = create_random_element(picker);
        const ParsedRequest request(xml);
        for (const std::string& name : NAMES) {
            const Node* expected =
                find_attribute_by_path(*request.get_root(), name, request.get_namespaces());
            ASSERT_EQ(find_attribute(*request.get_root(), XmlName::resolve(name, request.get_namespaces())),
                      expected)
                << name << " in " << xml;
            const std::optional<std::string> expected_text =
                expected == nullptr ? std::nullopt : std::optional(expected->getNodeValue());
            ASSERT_EQ(
                find_attribute_text(*request.get_root(), XmlName::resolve(name, request.get_namespaces())),
                expected_text)
                << name << " in " << xml;
            found += expected != nullptr ? 1 : 0;
        }
    }
    EXPECT_GT(found, 5000U);
}

std::string get_attribute_text(const std::string& attributes, const std::string& name) {
    const ParsedRequest request(create_element_text("E", attributes));
    const Node* attribute =
        find_attribute(*request.get_root(), XmlName::resolve(name, request.get_namespaces()));
    return attribute == nullptr ? "none" : attribute->getNodeValue();
}

TEST(FindAttribute, PrefersTheQualifiedAttribute) {
    EXPECT_EQ(get_attribute_text("A='plain' da:A='qualified'", "xmlda:A"), "qualified");
    EXPECT_EQ(get_attribute_text("A='plain' x:A='foreign'", "xmlda:A"), "plain");
    EXPECT_EQ(get_attribute_text("x:A='foreign'", "xmlda:A"), "none");
}

TEST(FindAttribute, TakesANameWithoutPrefixLiterally) {
    EXPECT_EQ(get_attribute_text("A='plain' da:A='qualified'", "A"), "plain");
    EXPECT_EQ(get_attribute_text("da:A='qualified'", "A"), "none");
}

TEST(FindAttribute, FindsNothingForAnUndeclaredPrefix) {
    EXPECT_EQ(get_attribute_text("A='plain'", "undeclared:A"), "none");
    EXPECT_EQ(get_attribute_text("x:A='foreign'", "x:A"), "none");
}

TEST(FindAttribute, FindsNothingInWhatIsNoElement) {
    const ParsedRequest request(create_element_text("E", "A='1'"));
    EXPECT_EQ(find_attribute(request.get_document(), XmlName::resolve("xmlda:A", request.get_namespaces())),
              nullptr);
    EXPECT_EQ(
        find_attribute_text(request.get_document(), XmlName::resolve("xmlda:A", request.get_namespaces())),
        std::nullopt);
}

const std::vector<std::string>& get_children() {
    static const std::vector<std::string> CHILDREN = {
        "<Items/>",
        "<da:Items/>",
        "<x:Items/>",
        "<Items xmlns=''/>",
        "text",
        "<!--c-->",
        "<?Items data?>",
        "<![CDATA[cd]]>",
        "<items/>",
        "<Item/>",
        "<Other><Items/></Other>",
        "<n:Items xmlns:n='http://opcfoundation.org/webservices/XMLDA/1.0/'/>",
        "<n:Items xmlns:n='http://opcfoundation.org/webservices/XMLDA/1.0'/>"};
    return CHILDREN;
}

std::string create_random_list(unsigned seed) {
    Picker picker(seed);
    std::string content;
    for (std::size_t count = picker.pick(6); count > 0; --count) {
        content += picker.pick(get_children());
    }
    return create_element_text("ItemList", "", content);
}

TEST(RequestDom, FindsTheChildThatAPathLookUpFinds) {
    std::size_t found = 0;
    for (unsigned seed = 0; seed < 3000; ++seed) {
        const std::string xml = create_random_list(seed);
        const ParsedRequest request(xml);
        for (const std::string name : {"xmlda:Items", "xmlda:Other", "soap:Items", "xmlda:Item"}) {
            const Node* expected = request.get_root()->getNodeByPathNS(name, request.get_namespaces());
            ASSERT_EQ(find_child(*request.get_root(), XmlName::resolve(name, request.get_namespaces())),
                      expected)
                << name << xml;
            found += expected != nullptr ? 1 : 0;
        }
    }
    EXPECT_GT(found, 1000U);
}

TEST(FindChild, FindsTheRootOfADocument) {
    const ParsedRequest request(create_element_text("Read", ""));
    EXPECT_EQ(find_child(request.get_document(), XmlName::resolve("xmlda:Read", request.get_namespaces())),
              request.get_root());
    EXPECT_EQ(find_child(request.get_document(), XmlName::resolve("xmlda:Write", request.get_namespaces())),
              nullptr);
}

TEST(RequestDom, VisitsTheElementsOfANameInOrder) {
    for (unsigned seed = 0; seed < 1000; ++seed) {
        const std::string xml = create_random_list(seed);
        const ParsedRequest request(xml);
        std::vector<const Node*> expected;
        for (const Node* node = request.get_root()->firstChild(); node != nullptr;
             node = node->nextSibling()) {
            if (node->namespaceURI() == xml_namespaces::XMLDA && node->localName() == "Items") {
                expected.push_back(node);
            }
        }
        std::vector<const Node*> visited;
        for_each_child(*request.get_root(), XmlName::resolve("xmlda:Items", request.get_namespaces()),
                       [&](const Node& node) { visited.push_back(&node); });
        ASSERT_EQ(visited, expected) << xml;
    }
}

}  // namespace
}  // namespace kx::information_model::opc
