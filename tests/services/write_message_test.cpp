#include "services/Write.h"

#include "xml/reply/reply_dom.h"
#include "xml/request/RequestParser.h"
#include "xml/xml_names.h"

#include <information_model/exceptions.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>

namespace kx::information_model::opc {

namespace {

using ::testing::HasSubstr;
using ::testing::ThrowsMessage;

/// A tree without a server around it: runs Write on the calling thread, so that what it throws can be seen.
class WriteMessage : public ::testing::Test {
protected:
    WriteMessage() {
        namespaces_.declarePrefix(xml_namespaces::XMLDA_PREFIX, xml_namespaces::XMLDA);
        namespaces_.declarePrefix(xml_namespaces::XSI_PREFIX, xml_namespaces::XSI);
    }

    std::unique_ptr<Write> create(const std::string& attributes, const std::string& content) {
        document_ = parse_request("<Write xmlns=\"" + xml_namespaces::XMLDA + "\" xmlns:xsi=\"" +
                                  xml_namespaces::XSI + "\" " + attributes + ">" + content + "</Write>");
        return std::make_unique<Write>(model_, document_->documentElement(), namespaces_);
    }

    std::unique_ptr<Write> create_with_value(const std::string& value) {
        return create("ReturnValuesOnReply='0'",
                      "<ItemList><Items ItemName='v'>" + value + "</Items></ItemList>");
    }

    Variable& add(Value initial) {
        return model_->get_root().add_variable("v", std::move(initial), {.writable = true});
    }

    std::shared_ptr<InformationModel> model_ = std::make_shared<InformationModel>("plant");

private:
    Poco::AutoPtr<Poco::XML::Document> document_;
    Poco::XML::NamespaceSupport namespaces_;
};

TEST_F(WriteMessage, RequiresReturnValuesOnReply) {
    EXPECT_THAT([&] { create("", ""); }, ThrowsMessage<std::logic_error>("Attribute not found."));
    // It is read first: nothing else that is wrong is seen before it.
    EXPECT_THAT([&] { create("", "<Options ReturnItemTime='maybe'/><ItemList><Items/></ItemList>"); },
                ThrowsMessage<std::logic_error>("Attribute not found."));
}

TEST_F(WriteMessage, RefusesOtherTypesWhenItIsMade) {
    for (const char* value : {"<Value>1</Value>", "<Value xsi:type=''>1</Value>",
                              "<Value type='xsd:int'>1</Value>", "<Value xsi:type='ArrayOfUnsignedByte'/>"}) {
        EXPECT_THAT([&] { create_with_value(value); },
                    ThrowsMessage<std::invalid_argument>("Unsupported type."))
            << value;
    }
}

TEST_F(WriteMessage, RefusesAnItemWithoutAName) {
    EXPECT_THROW(create("ReturnValuesOnReply='0'", "<ItemList><Items/></ItemList>"), InvalidPathException);
}

TEST_F(WriteMessage, ChangesNothingUntilItGenerates) {
    const Variable& variable = add(Value(7));
    const auto message = create_with_value("<Value xsi:type='xsd:int'>1</Value>");
    EXPECT_EQ(variable.get_value(), Value(7));
    const std::string reply = get_reply_text(message->generate()).to_string();
    EXPECT_EQ(variable.get_value(), Value(1));
    EXPECT_THAT(reply,
                HasSubstr(R"(<WriteResponse><RItemList><Items ItemName="/v"/></RItemList><WriteResult )"));
}

TEST_F(WriteMessage, LetsOutTheBadTypeAndReleasesTheLock) {
    for (Value initial : {Value(1.5), Value(SymbolInfo(symbol_list::HISTORY_KIND::NONE)), Value(Path("/a")),
                          Value(std::vector<unsigned char>{1})}) {
        const Variable& variable = add(initial);
        const auto message = create_with_value("<Value xsi:type='xsd:boolean'>1</Value>");
        EXPECT_THAT([&] { message->generate(); }, ThrowsMessage<BadValueTypeException>("Bad value type."));
        EXPECT_EQ(variable.get_value(), initial);
        ASSERT_TRUE(model_->get_information_tree().try_lock());
        model_->get_information_tree().unlock();
        model_->get_root().remove("v");
    }
}

TEST_F(WriteMessage, LetsOutThatASymbolIsUnknown) {
    add(Value(SymbolInfo(symbol_list::HISTORY_KIND::NONE)));
    const auto message = create_with_value("<Value xsi:type='xsd:int'>-1</Value>");
    EXPECT_THAT([&] { message->generate(); }, ThrowsMessage<std::invalid_argument>("Unknown symbol value."));
}

}  // namespace

}  // namespace kx::information_model::opc
