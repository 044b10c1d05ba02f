#include "server/OPCQueryHandler.h"
#include "server/QueryHandlerFactory.h"
#include "support/FakeRequest.h"

#include <Poco/Exception.h>

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>

namespace kx::information_model::opc {
namespace {

using testing::FakeRequest;

const std::string STATUS_REQUEST =
    R"(<s:Envelope xmlns:s="http://schemas.xmlsoap.org/soap/envelope/"><s:Body>)"
    R"(<GetStatus xmlns="http://opcfoundation.org/webservices/XMLDA/1.0/"/></s:Body></s:Envelope>)";
const std::string UNKNOWN_REQUEST =
    R"(<s:Envelope xmlns:s="http://schemas.xmlsoap.org/soap/envelope/"><s:Body/></s:Envelope>)";
const std::string FAULTY_REQUEST = R"(<s:Envelope xmlns:s="http://schemas.xmlsoap.org/soap/envelope/"/>)";

/// A response that keeps what is sent; `send` fails as often as it is told to.
class FakeResponse : public Poco::Net::HTTPServerResponse {
public:
    void sendContinue() override {}
    std::ostream& send() override {
        if (failures > 0) {
            --failures;
            throw std::runtime_error("cannot send");
        }
        sent_ = true;
        return body;
    }
    void sendFile(const std::string& /*path*/, const std::string& /*media_type*/) override {}
    void sendBuffer(const void* buffer, std::size_t length) override {
        if (buffer_fails_after_start) {
            sent_ = true;
            throw std::runtime_error("connection broken");
        }
        send().write(static_cast<const char*>(buffer), static_cast<std::streamsize>(length));
    }
    void redirect(const std::string& /*uri*/, HTTPStatus /*status*/) override {}
    void requireAuthentication(const std::string& /*realm*/) override {}
    bool sent() const override { return sent_; }

    std::ostringstream body;
    int failures = 0;
    bool buffer_fails_after_start = false;

private:
    bool sent_ = false;
};

class QueryHandler : public ::testing::Test {
protected:
    void handle(const std::string& body) {
        FakeRequest request(body, response_);
        OPCQueryHandler(model_, subscriptions_).handleRequest(request, response_);
    }

    // With a response of its own, for a test of several requests.
    void handle_and_forget(const std::string& body) {
        FakeResponse response;
        FakeRequest request(body, response);
        OPCQueryHandler(model_, subscriptions_).handleRequest(request, response);
    }

    std::string get_sent() const { return response_.body.str(); }

    std::shared_ptr<InformationModel> model_ = std::make_shared<InformationModel>("plant");
    std::shared_ptr<SubscriptionHandler> subscriptions_ = std::make_shared<SubscriptionHandler>();
    FakeResponse response_;
};

constexpr std::chrono::milliseconds AN_HOUR = std::chrono::hours(1);

// A subscription whose expiry has certainly passed.
void add_expired(SubscriptionHandler& subscriptions) {
    const auto expiry = subscriptions.create(std::chrono::milliseconds(0))->expiry.load();
    while (std::chrono::steady_clock::now() <= expiry) {
        std::this_thread::yield();
    }
}

TEST_F(QueryHandler, AnswersAServiceWithItsDocument) {
    response_.set("Connection", "Keep-Alive");
    handle(STATUS_REQUEST);
    EXPECT_EQ(response_.getStatus(), Poco::Net::HTTPResponse::HTTP_OK);
    EXPECT_EQ(response_.getContentType(), "text/xml; charset=utf-8");
    EXPECT_FALSE(response_.has("Connection"));
    EXPECT_TRUE(get_sent().starts_with(R"(<?xml version="1.0" encoding="utf-8"?><soap:Envelope )"));
}

TEST_F(QueryHandler, AnswersAnErrorWithAFault) {
    response_.set("Connection", "Keep-Alive");
    handle(FAULTY_REQUEST);
    EXPECT_EQ(response_.getStatus(), Poco::Net::HTTPResponse::HTTP_BAD_REQUEST);
    EXPECT_EQ(response_.getContentType(), "text/xml; charset=utf-8");
    EXPECT_TRUE(response_.getChunkedTransferEncoding());
    EXPECT_EQ(response_.get("Connection"), "Keep-Alive");
    EXPECT_NE(get_sent().find("<faultcode>soap:Server</faultcode>"), std::string::npos);
}

class BadQuery : public QueryHandler, public ::testing::WithParamInterface<std::string> {};

TEST_P(BadQuery, IsAnsweredBadRequest) {
    handle(GetParam());
    EXPECT_EQ(response_.getStatus(), Poco::Net::HTTPResponse::HTTP_BAD_REQUEST);
    EXPECT_FALSE(response_.has("Content-Type"));
    EXPECT_EQ(get_sent(), "Bad request");
}

INSTANTIATE_TEST_SUITE_P(Bodies, BadQuery, ::testing::Values(UNKNOWN_REQUEST, "no xml", ""));

TEST_F(QueryHandler, AnswersBadRequestWhenTheFaultCannotBeSent) {
    response_.failures = 1;
    handle(FAULTY_REQUEST);
    EXPECT_EQ(response_.getStatus(), Poco::Net::HTTPResponse::HTTP_BAD_REQUEST);
    EXPECT_EQ(get_sent(), "Bad request");
}

TEST_F(QueryHandler, AnswersBadRequestWhenTheReplyCannotBeSent) {
    response_.failures = 1;
    handle(STATUS_REQUEST);
    EXPECT_EQ(response_.getStatus(), Poco::Net::HTTPResponse::HTTP_BAD_REQUEST);
    EXPECT_EQ(get_sent(), "Bad request");
}

TEST_F(QueryHandler, SendsNothingAfterABrokenReply) {
    response_.buffer_fails_after_start = true;
    EXPECT_THROW(handle(STATUS_REQUEST), std::runtime_error);
    EXPECT_EQ(get_sent(), "");
}

TEST_F(QueryHandler, SweepsExpiredSubscriptionsWhateverTheRequest) {
    for (const std::string& body : {STATUS_REQUEST, UNKNOWN_REQUEST}) {
        add_expired(*subscriptions_);
        const auto kept = subscriptions_->create(AN_HOUR);
        handle_and_forget(body);
        EXPECT_EQ(subscriptions_->get_size(), 1U);
        EXPECT_EQ(subscriptions_->find(kept->handle), kept);
        subscriptions_->remove(kept->handle);
    }
}

TEST_F(QueryHandler, DoesNotSweepWithoutASoapBody) {
    add_expired(*subscriptions_);
    handle_and_forget(FAULTY_REQUEST);
    handle_and_forget("no xml");
    EXPECT_EQ(subscriptions_->get_size(), 1U);
}

TEST_F(QueryHandler, SharesModelAndSubscriptionsWhileItLives) {
    {
        const OPCQueryHandler handler(model_, subscriptions_);
        EXPECT_EQ(model_.use_count(), 2);
        EXPECT_EQ(subscriptions_.use_count(), 2);
    }
    EXPECT_EQ(model_.use_count(), 1);
    EXPECT_EQ(subscriptions_.use_count(), 1);
}

TEST(QueryHandlerFactory, MakesAHandlerForAnyRequest) {
    const auto model = std::make_shared<InformationModel>("plant");
    QueryHandlerFactory factory(model);
    FakeResponse response;
    FakeRequest request("", response);
    request.setMethod("ANYTHING");
    request.setURI("/any/where?at=all");
    const std::unique_ptr<Poco::Net::HTTPRequestHandler> first(factory.createRequestHandler(request));
    const std::unique_ptr<Poco::Net::HTTPRequestHandler> second(factory.createRequestHandler(request));
    EXPECT_NE(dynamic_cast<OPCQueryHandler*>(first.get()), nullptr);
    EXPECT_NE(first, second);
    EXPECT_EQ(model.use_count(), 4);
}

TEST(QueryHandlerFactory, DoesNotTakeTheCallersPointer) {
    auto model = std::make_shared<InformationModel>("plant");
    const std::weak_ptr<InformationModel> watched = model;
    {
        const QueryHandlerFactory factory(std::move(model));
        EXPECT_EQ(watched.use_count(), 1);
    }
    EXPECT_TRUE(watched.expired());
}

}  // namespace
}  // namespace kx::information_model::opc
