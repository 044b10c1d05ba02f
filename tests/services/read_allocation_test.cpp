#include "services/Read.h"
#include "xml/reply/reply_dom.h"
#include "xml/request/RequestParser.h"
#include "xml/xml_names.h"

#include "../support/allocation_count.h"

#include <Poco/DOM/Element.h>
#include <Poco/SAX/NamespaceSupport.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <string>

namespace kx::information_model::opc {
namespace {

std::string create_name(int number) {
    std::string digits = std::to_string(number);
    return "v" + std::string(6 - digits.size(), '0') + digits;
}

/// A tree of variables, and the allocations of a Read of all of them from the body's bytes to the reply's.
class ReadOfMany {
public:
    explicit ReadOfMany(int count) : count_(count) {
        for (int number = 0; number < count; ++number) {
            model_->get_root().add_variable(create_name(number), Value(number * 0.5));
        }
        namespaces_.declarePrefix(xml_namespaces::XMLDA_PREFIX, xml_namespaces::XMLDA);
    }

    double get_allocations_per_item() const {
        const std::string body = create_body();
        const std::size_t before = testing::get_allocation_count();
        const auto document = parse_request(body);
        Read message(model_, document->documentElement(), namespaces_);
        const std::string reply = get_reply_text(message.generate()).to_string();
        const std::size_t after = testing::get_allocation_count();
        EXPECT_NE(reply.find("<Items ClientItemHandle=\"" + create_name(count_ - 1)), std::string::npos);
        return static_cast<double>(after - before) / count_;
    }

private:
    std::string create_body() const {
        std::string body = "<Read xmlns=\"" + xml_namespaces::XMLDA + "\"><Options/><ItemList>";
        for (int number = 0; number < count_; ++number) {
            const std::string name = create_name(number);
            body += "<Items ItemName=\"" + name + "\" ClientItemHandle=\"" + name + "\"/>";
        }
        return body + "</ItemList></Read>";
    }

    int count_;
    std::shared_ptr<InformationModel> model_ = std::make_shared<InformationModel>("plant");
    Poco::XML::NamespaceSupport namespaces_;
};

TEST(ReadAllocations, GrowWithTheNumberOfItemsAndNotFaster) {
    const double few = ReadOfMany(1000).get_allocations_per_item();
    const double many = ReadOfMany(10000).get_allocations_per_item();
    std::printf("allocations per item: %.2f of 1,000, %.2f of 10,000\n", few, many);
    EXPECT_GT(few, 0.0);
    EXPECT_LE(many, few * 1.05);
}

}  // namespace
}  // namespace kx::information_model::opc
