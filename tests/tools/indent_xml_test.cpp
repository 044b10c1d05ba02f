#include "xmlda/soap/xml_indent.h"

#include <gtest/gtest.h>

namespace xmlda::testing {
namespace {

TEST(IndentXml, PutsEachElementOnALine) {
    EXPECT_EQ(indent_xml("<?xml version=\"1.0\"?><a><b>x</b><c/><d><e>1 &lt; 2</e></d><f></f></a>"),
              "<?xml version=\"1.0\"?>\n<a>\n  <b>x</b>\n  <c/>\n  <d>\n    <e>1 &lt; 2</e>\n  </d>\n  "
              "<f></f>\n</a>");
}

TEST(IndentXml, KeepsMixedContentAndComments) {
    EXPECT_EQ(indent_xml("<a><!-- <b> --><c>x<d/>y</c><![CDATA[<z>]]></a>"),
              "<a>\n  <!-- <b> -->\n  <c>x<d/>y</c><![CDATA[<z>]]></a>");
}

TEST(IndentXml, LeavesOtherTextsAlone) {
    EXPECT_EQ(indent_xml("Bad request"), "Bad request");
    EXPECT_EQ(indent_xml(""), "");
    EXPECT_EQ(indent_xml("<a"), "<a");
    EXPECT_EQ(indent_xml("</a></b>"), "</a>\n</b>");
}

}  // namespace
}  // namespace xmlda::testing
