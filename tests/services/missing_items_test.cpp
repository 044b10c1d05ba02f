#include "../subscriptions/ServiceCaller.h"
#include "services/GetProperties.h"
#include "services/Read.h"
#include "services/Write.h"
#include "subscriptions/Subscribe.h"
#include "subscriptions/SubscriptionPolledRefresh.h"
#include "support/StderrCapture.h"
#include "support/processor_time.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <string>

namespace kx::information_model::opc::testing {
namespace {

constexpr int ITEMS = 5000;

std::string create_items(const std::string& element, const std::string& prefix) {
    std::string items;
    for (int number = 0; number < ITEMS; ++number) {
        items += "<" + element + " ItemName=\"/" + prefix + std::to_string(number) + "\"/>";
    }
    return items;
}

/// A tree with variables of one prefix. The client asks for them, or for as many that are missing.
class MissingItems : public ::testing::Test {
protected:
    MissingItems() {
        for (int number = 0; number < ITEMS; ++number) {
            caller.get_root().add_variable("there" + std::to_string(number), Value(0.5), {.writable = true});
        }
    }

    /// What the service does under the tree's lock, from the request to the reply's document.
    /// @param make  makes the message of a parsed request
    /// @param line  what is left for a missing item, in front of its path
    template <class Make>
    void expect_not_dearer(const std::string& start, const std::string& element, const std::string& end,
                           const std::string& line, Make make) {
        const auto measure = [&](const std::string& prefix) {
            const ServiceRequest request(start + create_items(element, prefix) + end);
            return measure_processor_time([&] { make(request)->generate(); });
        };
        const double there = measure("there");
        StderrCapture capture;
        const double missing = measure("gone!");
        const std::string lines = capture.stop();
        EXPECT_LE(missing, 1.5 * there);
        EXPECT_EQ(lines.find(line + "/gone!0\n" + line + "/gone!1\n"), 0U) << lines.substr(0, 100);
        EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 3 * ITEMS);
    }

    template <class Message>
    auto make() {
        return [this](const ServiceRequest& request) {
            return std::make_unique<Message>(caller.model, request.get_element(), request.get_namespaces());
        };
    }

    template <class Message>
    auto make_with_store() {
        return [this](const ServiceRequest& request) {
            return std::make_unique<Message>(caller.model, request.get_element(), request.get_namespaces(),
                                             caller.handler);
        };
    }

    ServiceCaller caller;
};

TEST_F(MissingItems, AreNotDearerToRead) {
    expect_not_dearer("<Read><ItemList>", "Items", "</ItemList></Read>", "error not found: ", make<Read>());
}

TEST_F(MissingItems, AreNotDearerToWrite) {
    expect_not_dearer("<Write ReturnValuesOnReply=\"false\"><ItemList>", "Items", "</ItemList></Write>",
                      "error not foundPath not found: ", make<Write>());
}

TEST_F(MissingItems, AreNotDearerToGetPropertiesOf) {
    expect_not_dearer("<GetProperties>", "ItemIDs", "</GetProperties>",
                      "error not found: ", make<GetProperties>());
}

TEST_F(MissingItems, AreNotDearerToSubscribe) {
    expect_not_dearer("<Subscribe ReturnValuesOnReply=\"true\"><ItemList>", "Items",
                      "</ItemList></Subscribe>", "error not found:", make_with_store<Subscribe>());
}

TEST_F(MissingItems, AreNotDearerToPoll) {
    const auto measure = [&](const std::string& prefix) {
        const ServiceRequest subscribe(
            "<Subscribe ReturnValuesOnReply=\"true\" SubscriptionPingRate=\"3600000\">"
            "<ItemList>" +
            create_items("Items", prefix) + "</ItemList></Subscribe>");
        const std::string handle =
            get_handle(get_reply_text(make_with_store<Subscribe>()(subscribe)->generate()).to_string());
        const ServiceRequest poll("<SubscriptionPolledRefresh><ServerSubHandles>" + handle +
                                  "</ServerSubHandles></SubscriptionPolledRefresh>");
        return measure_processor_time([&] {
            caller.handler.find(handle)->last_poll = std::chrono::system_clock::time_point{};
            make_with_store<SubscriptionPolledRefresh>()(poll)->generate();
        });
    };
    const double there = measure("there");
    StderrCapture capture;
    const double missing = measure("gone!");
    const std::string lines = capture.stop();
    EXPECT_LE(missing, 1.5 * there);
    EXPECT_TRUE(lines.ends_with("error not found Path not found: /gone!" + std::to_string(ITEMS - 1) + "\n"));
}

}  // namespace
}  // namespace kx::information_model::opc::testing
