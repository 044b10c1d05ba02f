#include "property_replies.h"
#include "support/TestServer.h"
#include "support/replies.h"

#include <information_model/symbol_lists.h>

#include <Poco/DOM/DOMParser.h>
#include <Poco/DOM/Document.h>
#include <Poco/DOM/NodeList.h>

#include <gtest/gtest.h>

#include <chrono>
#include <map>
#include <mutex>
#include <vector>

namespace kx::information_model::opc::testing {

enum class MODE { OFF, AUTOMATIC, MANUAL };
enum class ALARM { LOW, HIGH };

}  // namespace kx::information_model::opc::testing

namespace kx::information_model::symbol_list {

template <>
struct SymbolList<opc::testing::MODE> {
    static const std::string& get_list_name() {
        static const std::string LIST_NAME = "plant.Mode";
        return LIST_NAME;
    }
    static const std::vector<Symbol>& get_symbols() {
        static const std::vector<Symbol> SYMBOLS = {
            {0, "off", "not running"}, {1, "<auto> & \"more\"", ""}, {2, "von Hand \xC3\xBC", ""}};
        return SYMBOLS;
    }
};

// The values are not positions, and the highest stands first.
template <>
struct SymbolList<opc::testing::ALARM> {
    static const std::string& get_list_name() {
        static const std::string LIST_NAME = "plant.Alarm";
        return LIST_NAME;
    }
    static const std::vector<Symbol>& get_symbols() {
        static const std::vector<Symbol> SYMBOLS = {{1, "high", ""}, {0, "low", ""}};
        return SYMBOLS;
    }
};

}  // namespace kx::information_model::symbol_list

namespace kx::information_model::opc::testing {
namespace {

using namespace std::chrono_literals;

constexpr const char* MODE_NAMES =
    "<string>off</string><string>&lt;auto&gt; &amp; &quot;more&quot;</string><string>von Hand "
    "\xC3\xBC</string>";

std::string names_request(const std::vector<std::string>& names) {
    std::string request;
    for (const std::string& name : names) {
        request += "<PropertyNames>" + name + "</PropertyNames>";
    }
    return request;
}

/// Asks for properties of the item "/item", in both services, and expects the same from both.
class ItemProperties : public WireTest {
protected:
    Variable& add_variable(Value initial, VariableOptions options = {}) {
        Variable& variable = server.get_root().add_variable("item", std::move(initial), std::move(options));
        variable.set_timestamp(TimePoint(1000ms));
        return variable;
    }

    Domain& add_domain(DomainOptions options = {}) {
        return server.get_root().add_domain("item", std::move(options));
    }

    void expect_properties(const std::string& attributes, const std::string& children,
                           const std::string& properties) {
        SCOPED_TRACE(attributes + children);
        expect_success(server.call("<Browse " + attributes + ">" + children + "</Browse>"),
                       "<BrowseResponse>" + element_text("item", "/item", false, properties) +
                           create_result("BrowseResult") + "</BrowseResponse>");
        expect_success(server.call("<GetProperties " + attributes + "><ItemIDs ItemName=\"/item\"/>" +
                                   children + "</GetProperties>"),
                       "<GetPropertiesResponse>" + list_text("item", "/item", properties) +
                           create_result("GetPropertiesResult") + "</GetPropertiesResponse>");
    }

    /// Expects all properties of the item, with values.
    void expect_all(const std::string& properties) {
        expect_properties(R"(ReturnAllProperties="true" ReturnPropertyValues="true")", "", properties);
    }

    /// Asks for one property with its value and expects it.
    void expect_value(const std::string& name, const std::string& type, const std::string& content) {
        expect_properties(R"(ReturnPropertyValues="true")", names_request({name}),
                          property_text(name, type, content));
    }

    /// Asks for one property, with and without values, and expects none.
    void expect_absent(const std::string& name) {
        expect_properties(R"(ReturnPropertyValues="true")", names_request({name}), "");
        expect_properties("", names_request({name}), "");
    }
};

TEST_F(ItemProperties, VariableWithEverything) {
    add_variable(Value(21.5), {.description = "Drum temperature",
                               .writable = true,
                               .engineering_unit = "degC",
                               .range = {.lower = Value(0.0), .upper = Value(400.0)},
                               .delta = Value(0.5),
                               .fractional_digits = 1,
                               .history_kind = symbol_list::HISTORY_KIND::HISTORY_AVAILABLE});
    expect_all(
        property_text("accessRights", "xsd:string", "readWritable") +
        property_text("dataType", "xsd:QName", "xsd:double") +
        property_text("engineeringUnits", "xsd:string", "degC") +
        property_text("euType", "xsd:string", "analog") + property_text("quality", "OPCQuality", "good") +
        property_text("lowEU", "xsd:double", "0.000000") + property_text("lowIR", "xsd:double", "0.000000") +
        property_text("highEU", "xsd:double", "400.000000") +
        property_text("highIR", "xsd:double", "400.000000") +
        property_text("timestamp", "xsd:dateTime", "1970-01-01T00:00:01Z") +
        property_text("value", "xsd:double", "21.500000") +
        property_text("description", "xsd:string", "Drum temperature") +
        property_text("telvix:delta", "xsd:double", "0.500000") +
        property_text("telvix:fractionalDigits", "xsd:int", "1") +
        property_text("telvix:historyKind", "xsd:int", "1"));
}

TEST_F(ItemProperties, VariableWithNothing) {
    add_variable(Value(7));
    expect_all(property_text("accessRights", "xsd:string", "readable") +
               property_text("dataType", "xsd:QName", "xsd:int") +
               property_text("engineeringUnits", "xsd:string", "") +
               property_text("euType", "xsd:string", "analog") +
               property_text("quality", "OPCQuality", "good") +
               property_text("timestamp", "xsd:dateTime", "1970-01-01T00:00:01Z") +
               property_text("value", "xsd:int", "7") + property_text("description", "xsd:string", ""));
}

TEST_F(ItemProperties, EnumeratedVariable) {
    add_variable(Value(SymbolInfo(MODE::AUTOMATIC)));
    expect_all(property_text("accessRights", "xsd:string", "readable") +
               property_text("dataType", "xsd:QName", "xsd:int") +
               property_text("engineeringUnits", "xsd:string", "") +
               property_text("euType", "xsd:string", "enumerated") +
               property_text("euInfo", "ArrayOfString", MODE_NAMES) +
               property_text("quality", "OPCQuality", "good") +
               property_text("timestamp", "xsd:dateTime", "1970-01-01T00:00:01Z") +
               property_text("value", "xsd:int", "1") + property_text("description", "xsd:string", ""));
}

TEST_F(ItemProperties, DomainWithIdentity) {
    add_domain({.description = "Steam boiler 1",
                .identity = Identity("B-001"),
                .pattern_type = pattern_type::DEVICE});
    expect_all(property_text("description", "xsd:string", "Steam boiler 1") +
               property_text("telvix:patternType", "xsd:string", "common.Device") +
               property_text("telvix:identity", "xsd:string", "B-001"));
}

TEST_F(ItemProperties, DomainWithoutIdentity) {
    add_domain();
    expect_all(property_text("description", "xsd:string", "") +
               property_text("telvix:patternType", "xsd:string", "common.Any"));
    expect_absent("telvix:identity");
}

TEST_F(ItemProperties, EmptyIdentityIsAnIdentity) {
    add_domain({.identity = Identity("")});
    expect_properties(R"(ReturnPropertyValues="true")", names_request({"telvix:identity"}),
                      property_text("telvix:identity", "xsd:string", ""));
}

TEST_F(ItemProperties, EveryPropertyOfDomainsByItsName) {
    add_domain({.description = "d",
                .identity = Identity("i"),
                .pattern_type = pattern_type::collection(pattern_type::UNIT)});
    const std::vector<std::pair<std::string, std::string>> rows = {
        {"description", "d"},
        {"telvix:patternType", "common.Collection[common.Unit]"},
        {"telvix:identity", "i"}};
    for (const auto& [name, content] : rows) {
        expect_properties(R"(ReturnPropertyValues="true")", names_request({name}),
                          property_text(name, "xsd:string", content));
        expect_properties("", names_request({name}), property_text(name));
    }
}

TEST_F(ItemProperties, PropertiesOfVariablesAreIgnored) {
    add_domain();
    expect_properties(R"(ReturnPropertyValues="true")",
                      names_request({"accessRights", "dataType", "quality", "value", "timestamp", "lowEU"}),
                      "");
}

TEST_F(ItemProperties, EveryPropertyOfVariablesByItsName) {
    add_variable(Value(SymbolInfo(MODE::OFF)),
                 {.description = "d",
                  .writable = true,
                  .engineering_unit = "u",
                  .range = {.lower = Value(-1), .upper = Value(2L)},
                  .delta = Value(1.0F),
                  .fractional_digits = 3,
                  .history_kind = symbol_list::HISTORY_KIND::HISTORY_SUGGESTED});
    expect_value("accessRights", "xsd:string", "readWritable");
    expect_value("dataType", "xsd:QName", "xsd:int");
    expect_value("engineeringUnits", "xsd:string", "u");
    expect_value("euType", "xsd:string", "enumerated");
    expect_value("euInfo", "ArrayOfString", MODE_NAMES);
    expect_value("quality", "OPCQuality", "good");
    expect_value("lowEU", "xsd:int", "-1");
    expect_value("lowIR", "xsd:int", "-1");
    expect_value("highEU", "xsd:long", "2");
    expect_value("highIR", "xsd:long", "2");
    expect_value("timestamp", "xsd:dateTime", "1970-01-01T00:00:01Z");
    expect_value("value", "xsd:int", "0");
    expect_value("description", "xsd:string", "d");
    expect_value("telvix:delta", "xsd:float", "1.000000");
    expect_value("telvix:fractionalDigits", "xsd:int", "3");
    expect_value("telvix:historyKind", "xsd:int", "2");
}

TEST_F(ItemProperties, AbsentOnesAreLeftOutAlsoWhenAskedFor) {
    add_variable(Value(1.0));
    for (const char* name : {"euInfo", "lowEU", "lowIR", "highEU", "highIR", "telvix:delta",
                             "telvix:fractionalDigits", "telvix:historyKind"}) {
        expect_absent(name);
    }
}

TEST_F(ItemProperties, EachBoundIsPresentOnItsOwn) {
    add_variable(Value(1.0), {.range = {.upper = Value(9)}});
    expect_properties(R"(ReturnPropertyValues="true")", names_request({"lowEU", "lowIR", "highEU", "highIR"}),
                      property_text("highEU", "xsd:int", "9") + property_text("highIR", "xsd:int", "9"));
    server.get_root().remove("item");
    add_variable(Value(1.0), {.range = {.lower = Value(9)}});
    expect_properties(R"(ReturnPropertyValues="true")", names_request({"lowEU", "lowIR", "highEU", "highIR"}),
                      property_text("lowEU", "xsd:int", "9") + property_text("lowIR", "xsd:int", "9"));
}

TEST_F(ItemProperties, NothingIsWrittenUnasked) {
    add_variable(Value(1.0));
    expect_properties("", "", "");
    expect_properties(R"(ReturnPropertyValues="true")", "", "");
    expect_properties(R"(ReturnAllProperties="false" ReturnPropertyValues="true")", "", "");
}

TEST_F(ItemProperties, WithoutValuesElementsAreEmpty) {
    add_variable(Value(1.0));
    const std::string all = property_text("accessRights") + property_text("dataType") +
                            property_text("engineeringUnits") + property_text("euType") +
                            property_text("quality") + property_text("timestamp") + property_text("value") +
                            property_text("description");
    expect_properties(R"(ReturnAllProperties="true")", "", all);
    expect_properties(R"(ReturnAllProperties="true" ReturnPropertyValues="false")", "", all);
}

TEST_F(ItemProperties, OrderIsTheCataloguesAndDuplicatesCollapse) {
    add_variable(Value(1.0));
    expect_properties("", names_request({"value", "accessRights", "value", "accessRights", "euType"}),
                      property_text("accessRights") + property_text("euType") + property_text("value"));
}

TEST_F(ItemProperties, NamesAreComparedExactly) {
    add_variable(Value(1.0), {.delta = Value(1.0)});
    expect_properties("",
                      names_request({"AccessRights", " value", "value ", "delta", "xmlda:value", "quality\n",
                                     "", "nothing", "telvix:description"}),
                      "");
    expect_properties("", names_request({"nothing", "value"}), property_text("value"));
}

TEST_F(ItemProperties, NameIsTheWholeTextOfItsElement) {
    add_variable(Value(1.0));
    expect_properties("", "<PropertyNames>val<!-- -->ue</PropertyNames>", property_text("value"));
    expect_properties("", "<PropertyNames><![CDATA[qual]]>ity</PropertyNames>", property_text("quality"));
    expect_properties("", "<PropertyNames>&#x65;uType</PropertyNames>", property_text("euType"));
}

TEST_F(ItemProperties, OnlyPropertyNamesChildrenCount) {
    add_variable(Value(1.0));
    expect_properties("",
                      "value<propertyNames>value</propertyNames><Names>value</Names>"
                      "<PropertyNames xmlns=\"urn:other\">value</PropertyNames>"
                      "<x><PropertyNames>value</PropertyNames></x>",
                      "");
    expect_properties("",
                      "<q:PropertyNames xmlns:q=\"http://opcfoundation.org/webservices/XMLDA/1.0/\">value"
                      "</q:PropertyNames>",
                      property_text("value"));
}

TEST_F(ItemProperties, VendorNamesAreTextsWhosePrefixIsNotResolved) {
    add_variable(Value(1.0), {.delta = Value(1.0)});
    expect_properties("",
                      "<PropertyNames xmlns:v=\"urn:telvix:information-model:1.0\">v:delta</PropertyNames>"
                      "<PropertyNames xmlns:telvix=\"urn:other\">telvix:delta</PropertyNames>",
                      property_text("telvix:delta"));
}

TEST_F(ItemProperties, AllPropertiesOutdoNames) {
    add_variable(Value(1.0));
    expect_properties(R"(ReturnAllProperties="1")", names_request({"value"}),
                      property_text("accessRights") + property_text("dataType") +
                          property_text("engineeringUnits") + property_text("euType") +
                          property_text("quality") + property_text("timestamp") + property_text("value") +
                          property_text("description"));
}

TEST_F(ItemProperties, AccessRightsAreReadableUnlessWritable) {
    add_variable(Value(1), {.writable = false});
    expect_value("accessRights", "xsd:string", "readable");
    server.get_root().remove("item");
    add_variable(Value(1), {.writable = true});
    expect_value("accessRights", "xsd:string", "readWritable");
    server.get_root().remove("item");
    add_variable(Value(1));
    expect_value("accessRights", "xsd:string", "readable");
}

TEST_F(ItemProperties, QualityIsWrittenByName) {
    const std::vector<std::string> names = {"bad",
                                            "badConfigurationError",
                                            "badNotConnected",
                                            "badDeviceFailure",
                                            "badSensorFailure",
                                            "badLastKnownValue",
                                            "badCommFailure",
                                            "badOutOfService",
                                            "badWaitingForInitialData",
                                            "uncertain",
                                            "uncertainLastUsableValue",
                                            "uncertainSensorNotAccurate",
                                            "uncertainEUExceeded",
                                            "uncertainSubNormal",
                                            "good",
                                            "goodLocalOverride"};
    Variable& variable = add_variable(Value(1));
    for (std::size_t number = 0; number < names.size(); ++number) {
        {
            const std::unique_lock<Tree> lock(server.get_tree());
            variable.set_quality(static_cast<symbol_list::QUALITY>(number));
        }
        expect_value("quality", "OPCQuality", names[number]);
    }
}

TEST_F(ItemProperties, HistoryKindIsWrittenByNumber) {
    const std::vector<symbol_list::HISTORY_KIND> kinds = {symbol_list::HISTORY_KIND::NONE,
                                                          symbol_list::HISTORY_KIND::HISTORY_AVAILABLE,
                                                          symbol_list::HISTORY_KIND::HISTORY_SUGGESTED};
    for (std::size_t number = 0; number < kinds.size(); ++number) {
        add_variable(Value(1), {.history_kind = kinds[number]});
        expect_value("telvix:historyKind", "xsd:int", std::to_string(number));
        server.get_root().remove("item");
    }
}

TEST_F(ItemProperties, TypeAndKindOfEveryScalar) {
    struct Row {
        Value value;
        std::string data_type;
        std::string eu_type;
    };
    const std::vector<Row> rows = {
        {Value(true), "xsd:boolean", "analog"},
        {Value("s"), "xsd:string", "noEnum"},
        {Value(1.0), "xsd:double", "analog"},
        {Value(1.0F), "xsd:float", "analog"},
        {Value(1L), "xsd:long", "analog"},
        {Value(1), "xsd:int", "analog"},
        {Value(short{1}), "xsd:short", "analog"},
        {Value(static_cast<signed char>(1)), "xsd:byte", "analog"},
        {Value(1UL), "xsd:unsignedLong", "analog"},
        {Value(1U), "xsd:unsignedInt", "analog"},
        {Value(static_cast<unsigned short>(1)), "xsd:unsignedShort", "analog"},
        {Value(static_cast<unsigned char>(1)), "xsd:unsignedByte", "analog"},
        {Value(TimePoint()), "xsd:dateTime", "noEnum"},
        {Value(Duration()), "xsd:duration", "analog"},
        {Value(Path("/")), "xsd:string", "noEnum"},
        {Value(AbsolutePath("h", "t", "/p")), "xsd:string", "analog"},
        {Value(SymbolInfo(MODE::OFF)), "xsd:int", "enumerated"},
    };
    for (const Row& row : rows) {
        add_variable(row.value);
        expect_value("dataType", "xsd:QName", row.data_type);
        expect_value("euType", "xsd:string", row.eu_type);
        server.get_root().remove("item");
    }
}

TEST_F(ItemProperties, TypeAndKindOfEveryArray) {
    const std::vector<std::pair<Value, std::string>> rows = {
        {Value(std::vector<bool>{}), "ArrayOfBoolean"},
        {Value(std::vector<std::string>{}), "ArrayOfString"},
        {Value(std::vector<double>{}), "ArrayOfDouble"},
        {Value(std::vector<float>{}), "ArrayOfFloat"},
        {Value(std::vector<long>{}), "ArrayOfLong"},
        {Value(std::vector<int>{}), "ArrayOfInt"},
        {Value(std::vector<short>{}), "ArrayOfShort"},
        {Value(std::vector<signed char>{}), "ArrayOfByte"},
        {Value(std::vector<unsigned long>{}), "ArrayOfUnsignedLong"},
        {Value(std::vector<unsigned int>{}), "ArrayOfUnsignedInt"},
        {Value(std::vector<unsigned short>{}), "ArrayOfUnsignedShort"},
        {Value(std::vector<unsigned char>{}), "ArrayOfByte"},
        {Value(std::vector<TimePoint>{}), "ArrayOfDateTime"},
        {Value(std::vector<Duration>{}), "ArrayOfDuration"},
        {Value(std::vector<Path>{}), "ArrayOfString"},
        {Value(std::vector<AbsolutePath>{}), "ArrayOfString"},
    };
    for (const auto& [value, data_type] : rows) {
        add_variable(value);
        expect_value("dataType", "xsd:QName", data_type);
        expect_value("euType", "xsd:string", "noEnum");
        expect_absent("euInfo");
        server.get_root().remove("item");
    }
}

TEST_F(ItemProperties, ArrayOfSymbolsIsDescribedByItsFirstMember) {
    add_variable(Value(std::vector<SymbolInfo>{SymbolInfo(MODE::MANUAL), SymbolInfo(MODE::OFF)}));
    expect_value("dataType", "xsd:QName", "ArrayOfInt");
    expect_value("euType", "xsd:string", "enumerated");
    expect_value("euInfo", "ArrayOfString", MODE_NAMES);
    expect_value("value", "ArrayOfInt", "<int>2</int><int>0</int>");
}

TEST_F(ItemProperties, ArrayWithoutSymbolsIsEnumeratedAllTheSame) {
    add_variable(Value(std::vector<SymbolInfo>{}));
    expect_value("euType", "xsd:string", "enumerated");
    expect_absent("euInfo");
    expect_value("value", "ArrayOfInt", "");
}

TEST_F(ItemProperties, SymbolNamesStandInTheListsOrder) {
    add_variable(Value(SymbolInfo(ALARM::LOW)));
    expect_value("euInfo", "ArrayOfString", "<string>high</string><string>low</string>");
    expect_value("value", "xsd:int", "0");
}

TEST_F(ItemProperties, BoundsAndDeltaKeepTheirOwnTypes) {
    add_variable(Value(1.0), {.range = {.lower = Value("low"), .upper = Value(std::vector<int>{1, 2})},
                              .delta = Value(Duration(2s))});
    expect_value("lowEU", "xsd:string", "low");
    expect_value("highIR", "ArrayOfInt", "<int>1</int><int>2</int>");
    expect_value("telvix:delta", "xsd:duration", "PT2S");
}

TEST_F(ItemProperties, ArrayValueIsWrittenWhole) {
    add_variable(Value(std::vector<double>{1.5, -2}));
    expect_value("value", "ArrayOfDouble", "<double>1.500000</double><double>-2.000000</double>");
}

TEST_F(ItemProperties, ValueIsTheCurrentOne) {
    Variable& variable = add_variable(Value(1));
    expect_value("value", "xsd:int", "1");
    {
        const std::unique_lock<Tree> lock(server.get_tree());
        variable = Value(2);
        variable.set_timestamp(TimePoint(1500ms));
    }
    expect_value("value", "xsd:int", "2");
    expect_value("timestamp", "xsd:dateTime", "1970-01-01T00:00:01.500Z");
}

/// A variable that says it holds something else than it does, or something that cannot be written.
class PropertiesOfABadVariable : public ItemProperties {
protected:
    void expect_failure(const std::string& attributes, const std::string& name) {
        SCOPED_TRACE(name);
        expect_bad_request(server.call("<Browse " + attributes + ">" + names_request({name}) + "</Browse>"));
        expect_bad_request(server.call("<GetProperties " + attributes + "><ItemIDs ItemName=\"/item\"/>" +
                                       names_request({name}) + "</GetProperties>"));
        const std::unique_lock<Tree> lock(server.get_tree(), std::try_to_lock);
        EXPECT_TRUE(lock.owns_lock());
    }

    const std::string with_values = R"(ReturnPropertyValues="true")";
};

TEST_F(PropertiesOfABadVariable, EnumeratedWithoutSymbolsFails) {
    for (const bool is_array : {false, true}) {
        add_variable(Value(1, ValueTypeInfo(VALUE_TYPE::SYMBOL, is_array)));
        expect_failure(with_values, "euInfo");
        expect_failure("", "euInfo");
        expect_failure(with_values, "value");
        expect_value("euType", "xsd:string", "enumerated");
        server.get_root().remove("item");
    }
}

TEST_F(PropertiesOfABadVariable, TypeThatIsNotServedFailsWhereItsNameOrValueIsWritten) {
    for (const VALUE_TYPE type :
         {VALUE_TYPE::DECIMAL, VALUE_TYPE::ATTACHMENT, VALUE_TYPE{0}, VALUE_TYPE{20}}) {
        add_variable(Value("1", ValueTypeInfo(type, false)));
        expect_failure(with_values, "dataType");
        expect_failure(with_values, "value");
        expect_properties("", names_request({"dataType", "value"}),
                          property_text("dataType") + property_text("value"));
        expect_value("euType", "xsd:string", type == VALUE_TYPE::ATTACHMENT ? "noEnum" : "analog");
        expect_absent("euInfo");
        server.get_root().remove("item");
    }
}

TEST_F(PropertiesOfABadVariable, BoundOfAnotherTypeThanItSaysFails) {
    add_variable(Value(1), {.range = {.lower = Value("x", ValueTypeInfo(VALUE_TYPE::INT, false))}});
    expect_failure(with_values, "lowEU");
    expect_properties("", names_request({"lowEU"}), property_text("lowEU"));
}

/// The texts of all properties in a reply, by property name, as a parser other than ours finds them.
std::map<std::string, std::string> parse_properties(const std::string& body) {
    Poco::XML::DOMParser parser;
    const Poco::AutoPtr<Poco::XML::Document> document = parser.parseString(body);
    const Poco::AutoPtr<Poco::XML::NodeList> elements = document->getElementsByTagName("Properties");
    std::map<std::string, std::string> texts;
    for (unsigned long index = 0; index < elements->length(); ++index) {
        const auto& element = dynamic_cast<const Poco::XML::Element&>(*elements->item(index));
        texts[element.getAttribute("Name")] = element.innerText();
    }
    return texts;
}

TEST_F(ItemProperties, AnyTextArrivesUnharmed) {
    for (const std::string text :
         {"<b>&amp;</b>", R"(say "hi" & 'bye')", "]]>", "<![CDATA[x]]>", "two\nlines\n", "\ttabs\t", "  ",
          "\xC3\xA4\xC3\xB6\xC3\xBC \xE6\xB8\xA9\xE5\xBA\xA6 \xF0\x9F\x94\xA5", "&#10;", "<!-- -->"}) {
        SCOPED_TRACE(text);
        add_variable(Value(text), {.description = text,
                                   .engineering_unit = text,
                                   .range = {.lower = Value(text), .upper = Value(text)},
                                   .delta = Value(text)});
        const auto texts = parse_properties(
            server.call(R"(<Browse ReturnAllProperties="true" ReturnPropertyValues="true"/>)").body);
        for (const char* name : {"value", "description", "engineeringUnits", "lowEU", "lowIR", "highEU",
                                 "highIR", "telvix:delta"}) {
            EXPECT_EQ(texts.at(name), text) << name;
        }
        server.get_root().remove("item");
    }
}

TEST_F(ItemProperties, AnyTextOfADomainArrivesUnharmed) {
    const std::string text = "<a b=\"c\">\n & '\xC3\xA4' ]]>";
    add_domain({.description = text, .identity = Identity(text), .pattern_type = {text, std::nullopt}});
    const auto texts = parse_properties(
        server.call(R"(<Browse ReturnAllProperties="true" ReturnPropertyValues="true"/>)").body);
    EXPECT_EQ(texts, (std::map<std::string, std::string>{
                         {"description", text}, {"telvix:patternType", text}, {"telvix:identity", text}}));
}

// XML lets a parser hand out any end of line as a line feed, unless it is escaped, which it is not here.
TEST_F(ItemProperties, CarriageReturnArrivesAsLineFeed) {
    add_variable(Value("a\r\nb\rc"));
    expect_value("value", "xsd:string", "a\r\nb\rc");
    const auto texts = parse_properties(
        server.call(R"(<Browse ReturnAllProperties="true" ReturnPropertyValues="true"/>)").body);
    EXPECT_EQ(texts.at("value"), "a\nb\nc");
}

TEST_F(ItemProperties, TextThatXmlCannotCarrySpoilsOnlyItself) {
    add_variable(Value("a\x01z\xFF"), {.description = "fine"});
    expect_value("value", "xsd:string", "a\xEF\xBF\xBDz\xEF\xBF\xBD");
    expect_value("description", "xsd:string", "fine");
}

}  // namespace
}  // namespace kx::information_model::opc::testing
