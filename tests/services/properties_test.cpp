#include "services/Properties.h"

#include "tests/xml/ParsedRequest.h"
#include "xml/reply/reply_dom.h"

#include <Poco/Exception.h>

#include <gtest/gtest.h>

namespace kx::information_model::opc {
namespace {

/// Answers with the properties of the item that its request names.
class PropertiesOfOneItem : public Properties {
public:
    PropertiesOfOneItem(std::shared_ptr<InformationModel> model, const Poco::XML::Node* request,
                        const Poco::XML::NamespaceSupport& namespaces)
        : Properties(std::move(model), request, namespaces), path_(get_item_path(*request)) {}

    using Properties::insert_properties;

protected:
    Poco::AutoPtr<Poco::XML::Element> process() override {
        auto response = create_element(get_document(), "Reply");
        const Item& item = get_model().get_root().get_item(path_, false);
        if (item.get_item_type() == ITEM_TYPE::DOMAIN) {
            insert_properties(response, "Row", dynamic_cast<const Domain&>(item));
        } else {
            insert_properties(response, "Row", dynamic_cast<const Variable&>(item));
        }
        return response;
    }

private:
    Path path_;
};

class ItemProperties : public ::testing::Test {
protected:
    /// The reply to a request with these attributes and children, without its envelope.
    std::string call(const std::string& attributes, const std::string& children = {}) {
        const testing::ParsedRequest request(testing::create_element_text("Request", attributes, children));
        PropertiesOfOneItem message(model_, request.get_root(), request.get_namespaces());
        const std::string reply = get_reply_text(message.generate()).to_string();
        const auto start = reply.find("<soap:Body>") + std::string("<soap:Body>").size();
        return reply.substr(start, reply.find("</soap:Body>") - start);
    }

    std::shared_ptr<InformationModel> model_ = std::make_shared<InformationModel>("plant");
};

TEST_F(ItemProperties, ElementsBearTheGivenName) {
    model_->get_root().add_variable("x", Value(1));
    EXPECT_EQ(
        call(R"(ItemName="/x" ReturnPropertyValues="true")",
             "<PropertyNames>value</PropertyNames><PropertyNames>quality</PropertyNames>"),
        R"(<Reply><Row Description="quality" Name="quality"><Value xsi:type="OPCQuality">good</Value></Row>)"
        R"(<Row Description="value" Name="value"><Value xsi:type="xsd:int">1</Value></Row></Reply>)");
}

TEST_F(ItemProperties, BothKindsOfItemHaveTheirOwn) {
    EXPECT_EQ(call(R"(ReturnAllProperties="true")"),
              R"(<Reply><Row Description="description" Name="description"/>)"
              R"(<Row Description="telvix:patternType" Name="telvix:patternType"/></Reply>)");
}

TEST_F(ItemProperties, NothingAskedForGivesNothing) {
    EXPECT_EQ(call(R"(ReturnPropertyValues="true")"), "<Reply/>");
}

TEST_F(ItemProperties, AbsentOrEmptyItemNameIsTheRoot) {
    const std::string root = R"(<Reply><Row Description="description" Name="description"/></Reply>)";
    model_->get_root().add_variable("x", Value(1));
    EXPECT_EQ(call("", "<PropertyNames>description</PropertyNames><PropertyNames>value</PropertyNames>"),
              root);
    EXPECT_EQ(call(R"(ItemName="")",
                   "<PropertyNames>description</PropertyNames><PropertyNames>value</PropertyNames>"),
              root);
}

TEST_F(ItemProperties, MalformedItemNameThrows) {
    EXPECT_THROW(call(R"(ItemName="//")"), InvalidPathException);
}

TEST_F(ItemProperties, FlagsMustBeBools) {
    EXPECT_THROW(call(R"(ReturnAllProperties="maybe")"), Poco::SyntaxException);
    EXPECT_THROW(call(R"(ReturnPropertyValues="maybe")"), Poco::SyntaxException);
}

TEST_F(ItemProperties, ParentIsNeeded) {
    const testing::ParsedRequest request(
        testing::create_element_text("Request", R"(ReturnAllProperties="true")"));
    const PropertiesOfOneItem message(model_, request.get_root(), request.get_namespaces());
    const Domain& root = model_->get_root();
    const Variable& variable = model_->get_root().add_variable("x", Value(1));
    EXPECT_THROW(message.insert_properties(nullptr, "Row", root), Poco::NullPointerException);
    EXPECT_THROW(message.insert_properties(nullptr, "Row", variable), Poco::NullPointerException);
}

}  // namespace
}  // namespace kx::information_model::opc
