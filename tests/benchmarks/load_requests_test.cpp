// That each request of the load driver is answered in full.

#include "load/cases.h"
#include "load/requests.h"
#include "load/tree.h"
#include "support/TestServer.h"

#include <gmock/gmock.h>

#include <memory>
#include <mutex>

namespace kx::benchmarks {

namespace {

using namespace information_model;
using information_model::opc::testing::TestServer;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr std::size_t VARIABLES = 2000;

std::size_t count(const std::string& text, const std::string& word) {
    std::size_t result = 0;
    for (auto found = text.find(word); found != std::string::npos; found = text.find(word, found + 1)) {
        ++result;
    }
    return result;
}

/// One server for all tests, because its tree is large.
class LoadRequests : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        server_ = std::make_unique<TestServer>();
        const std::lock_guard lock(server_->get_tree());
        build_tree(server_->get_root(), VARIABLES);
    }

    static void TearDownTestSuite() { server_.reset(); }

    static std::string post(const std::string& body) {
        return Connection(server_->get_port()).exchange(create_http_request(body));
    }

    static std::unique_ptr<TestServer> server_;
};

std::unique_ptr<TestServer> LoadRequests::server_;

TEST_F(LoadRequests, StatusIsAnswered) {
    EXPECT_THAT(post(create_status_request()), HasSubstr("<GetStatusResponse><Status "));
}

TEST_F(LoadRequests, ReadOfOneHasHandleTimeAndTypedValue) {
    const std::string reply = post(create_read_request(1, VARIABLES));
    EXPECT_EQ(count(reply, "<Items "), 1U);
    EXPECT_THAT(reply, HasSubstr("ItemName=\"/bulk/0/v0\""));
    EXPECT_THAT(reply, HasSubstr("ClientItemHandle=\"h0\""));
    EXPECT_THAT(reply, HasSubstr("Timestamp=\""));
    EXPECT_THAT(reply, HasSubstr("<Value xsi:type=\"xsd:double\">0.000000</Value>"));
}

TEST_F(LoadRequests, ReadOfSomeIsSpreadOverTheTree) {
    const std::string reply = post(create_read_request(4, VARIABLES));
    EXPECT_EQ(count(reply, "<Items "), 4U);
    EXPECT_THAT(reply, HasSubstr("ItemName=\"/bulk/1/v1500\""));
}

TEST_F(LoadRequests, ReadOfMoreThanThereAreStartsAgain) {
    EXPECT_EQ(count(post(create_read_request(2 * VARIABLES, VARIABLES)), "ItemName=\"/bulk/1/v1999\""), 2U);
}

TEST_F(LoadRequests, EveryTypeIsReadInFull) {
    for (const std::string& type : get_type_names()) {
        const std::string reply = post(create_type_read_request(type));
        EXPECT_EQ(count(reply, "<Items "), TYPE_VARIABLES) << type;
        EXPECT_EQ(count(reply, "<Value "), TYPE_VARIABLES) << type;
    }
}

TEST_F(LoadRequests, WriteReachesTheTree) {
    const std::string reply = post(create_write_request(2, VARIABLES));
    EXPECT_EQ(count(reply, "<Items "), 2U);
    EXPECT_THAT(reply, Not(HasSubstr("ResultID")));
    const std::lock_guard lock(server_->get_tree());
    const Item& item = server_->get_root().get_item(Path(create_item_name(1000)), false);
    EXPECT_EQ(dynamic_cast<const Variable&>(item).get_value(), Value(0.25));
}

TEST_F(LoadRequests, PollOfUnchangedItemsReportsNoneOfThem) {
    const std::string subscribed = post(create_subscribe_request(10, VARIABLES));
    const std::string poll = create_poll_request(get_server_handle(subscribed));
    post(poll);
    const std::string reply = post(poll);
    EXPECT_THAT(reply, HasSubstr("<SubscriptionPolledRefreshResponse"));
    EXPECT_THAT(reply, Not(HasSubstr("InvalidServerSubHandles")));
    EXPECT_EQ(count(reply, "<Items "), 0U);
}

TEST_F(LoadRequests, BrowseReportsEveryPropertyOfEveryChild) {
    const std::string reply = post(create_browse_request("/wide"));
    EXPECT_EQ(count(reply, "<Elements "), WIDE_CHILDREN);
    EXPECT_EQ(count(reply, "<Properties "), WIDE_CHILDREN * WIDE_PROPERTIES);
}

TEST(ServerHandle, IsMissedWhenThereIsNone) {
    EXPECT_THROW(get_server_handle("<SubscribeResponse/>"), std::runtime_error);
}

}  // namespace

}  // namespace kx::benchmarks
