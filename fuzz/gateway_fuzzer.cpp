// What clients and browsers send to the gateway: requests go through all of it that is behind its sockets, in
// front of a real server. An input is one or more requests with a line "%%" between them. What a request
// begins with says what it is: "=" an envelope around what follows, "?" a GET of what follows, "!" JSON for
// /api/write, "#" JSON for /api/watch, everything else the whole body of a POST. "$" and a digit is the
// handle of that subscription, "$p" the name of the page that listens.
//
// Every request must be answered once time has passed and its client has left; every SOAP reply must be valid
// by the published schema, and every other one be JSON or a page.
#include "Exchange.h"
#include "Host.h"
#include "ManualClock.h"
#include "SilentDiagnostics.h"
#include "gateway/ManualLoop.h"
#include "gateway/PublishedSchema.h"
#include "gateway/items/ItemTable.h"
#include "gateway/net/HttpClient.h"
#include "gateway/services/SoapServices.h"
#include "gateway/services/SubscriptionTable.h"
#include "gateway/upstream/Sampler.h"
#include "gateway/upstream/ServerClient.h"
#include "gateway/web/Metrics.h"
#include "gateway/web/PageApi.h"
#include "gateway/web/Router.h"
#include "requests.h"
#include "require.h"
#include "server/OPCQueryHandler.h"
#include "subscriptions/SubscriptionHandler.h"
#include "support/FakeRequest.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kx::fuzz {
namespace {

using namespace std::chrono_literals;
using information_model::opc::OPCQueryHandler;
using information_model::opc::SubscriptionHandler;

/// The server, as the gateway reaches it.
class ServerBehind {
public:
    explicit ServerBehind(gateway::EventLoop& loop) : loop_(loop) {}

    gateway::ServerClient::Post get_post() {
        return [this](const std::string& document, bool) {
            const gateway::Completion<gateway::HttpOutcome> completion;
            loop_.post([this, document, completion] { completion.set(answer(document)); });
            return completion;
        };
    }

    Host& get_host() { return host_; }

private:
    gateway::HttpOutcome answer(const std::string& document) {
        CapturedResponse response;
        {
            information_model::opc::testing::FakeRequest request(document, response);
            OPCQueryHandler(host_.get_model(), subscriptions_).handleRequest(request, response);
        }
        gateway::HttpOutcome outcome;
        outcome.status = static_cast<unsigned>(response.getStatus());
        outcome.body = response.get_body();
        return outcome;
    }

    gateway::EventLoop& loop_;
    Host host_;
    std::shared_ptr<SubscriptionHandler> subscriptions_ = std::make_shared<SubscriptionHandler>();
};

class Site {
public:
    explicit Site(const gateway::PublishedSchema& schema) : schema_(schema) {
        sampler_.start();
        loop_.pass(10ms);
        listen();
    }
    Site(const Site&) = delete;
    Site& operator=(const Site&) = delete;
    ~Site() {
        page_events_.reset();
        subscriptions_.close();
        bool has_ended = false;
        gateway::spawn(stop(has_ended));
        loop_.pass(1s);
        require(has_ended, "the gateway ends");
    }

    void serve(std::string_view text) {
        const gateway::HttpRequest request = create_request(text);
        const bool is_soap = request.method == "POST" && !request.target.starts_with("/api/");
        const auto presence = std::make_shared<gateway::Presence>();
        std::optional<gateway::HttpReply> reply;
        gateway::spawn(answer(request, presence, reply));
        loop_.pass(600ms);
        server_.get_host().turn();
        loop_.pass(600ms);
        if (!reply) {
            presence->leave();
            loop_.pass(10ms);
        }
        require(reply.has_value(), "each request is answered", text);
        check(*reply, is_soap);
        if (page_events_) {
            while (!page_events_->take().empty()) {
            }
        }
        ManualClock::advance(1s);
    }

private:
    gateway::Task<> answer(gateway::HttpRequest request, std::shared_ptr<gateway::Presence> presence,
                           std::optional<gateway::HttpReply>& reply) {
        gateway::Task<gateway::HttpReply> task = router_.serve(std::move(request), std::move(presence));
        reply = co_await task;
    }

    gateway::Task<> stop(bool& has_ended) {
        co_await sampler_.stop();
        has_ended = true;
    }

    void listen() {
        page_events_ = page_.open_events().events;
        const std::string greeting = page_events_->take();
        const std::string key = "\"page\":\"";
        const auto begin = greeting.find(key) + key.size();
        page_name_ = greeting.substr(begin, greeting.find('"', begin) - begin);
    }

    gateway::HttpRequest create_request(std::string_view text) const {
        gateway::HttpRequest request;
        request.method = "POST";
        request.target = "/";
        request.host = "127.0.0.1:8090";
        request.content_type = "text/xml";
        request.peer = "127.0.0.1";
        const char kind = text.empty() ? '\0' : text.front();
        const std::string rest = replace_names(text.substr(text.empty() ? 0 : 1));
        switch (kind) {
            case '=':
                request.body = create_envelope(rest);
                break;
            case '?':
                request.method = "GET";
                request.target = rest;
                break;
            case '!':
            case '#':
                request.target = kind == '!' ? "/api/write" : "/api/watch";
                request.content_type = "application/json";
                request.body = rest;
                break;
            default:
                request.body = std::string(text);
        }
        return request;
    }

    std::string replace_names(std::string_view text) const {
        std::string replaced;
        for (std::size_t i = 0; i < text.size(); ++i) {
            const char next = i + 1 < text.size() ? text[i + 1] : '\0';
            const std::size_t number =
                next >= '1' && next <= '9' ? static_cast<std::size_t>(next - '1') : SIZE_MAX;
            if (text[i] == '$' && number < handles_.size()) {
                replaced += handles_[number];
                ++i;
            } else if (text[i] == '$' && next == 'p') {
                replaced += page_name_;
                ++i;
            } else {
                replaced += text[i];
            }
        }
        return replaced;
    }

    void check(const gateway::HttpReply& reply, bool is_soap) {
        require(reply.status >= 200 && reply.status < 600, "a status is one of HTTP");
        if (is_soap && reply.status != 415) {
            require(reply.status == 200 || reply.status == 500, "SOAP replies have status 200 or 500");
            require(reply.content_type == "text/xml; charset=utf-8", "SOAP replies are XML");
            require(schema_.allows(reply.body), "a reply is valid", reply.body);
            remember_handle(reply.body);
        } else if (reply.content_type == "application/json") {
            require(reply.body.starts_with('{') && reply.body.ends_with('}'), "JSON is an object",
                    reply.body);
        }
    }

    void remember_handle(const std::string& reply) {
        const std::string attribute = "ServerSubHandle=\"";
        if (const auto place = reply.find(attribute); place != std::string::npos) {
            const auto begin = place + attribute.size();
            handles_.push_back(reply.substr(begin, reply.find('"', begin) - begin));
        }
    }

    const gateway::PublishedSchema& schema_;
    gateway::ManualLoop loop_;
    ServerBehind server_{loop_};
    gateway::ServerClient client_{server_.get_post()};
    gateway::ItemTable table_{100};
    gateway::Sampler sampler_{loop_, client_, table_, 250ms};
    gateway::SubscriptionTable subscriptions_{loop_, {.most_items = 1000, .most_of_an_address = 4}};
    gateway::MemoryBudget memory_{64U << 20U};
    const gateway::ServiceParts parts_{loop_, client_, table_, sampler_, subscriptions_, memory_, false};
    gateway::SoapServices services_{parts_};
    gateway::PageApi page_{parts_, "http://127.0.0.1:8080"};
    gateway::Metrics metrics_{parts_, {}, [] { return std::vector<gateway::OwnFigure>(); }};
    gateway::Router router_{services_, page_, metrics_, {}};
    std::shared_ptr<gateway::EventSource> page_events_;
    std::string page_name_;
    std::vector<std::string> handles_;
};

}  // namespace
}  // namespace kx::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const gateway::PublishedSchema schema(KX_ENVELOPE_SCHEMA, KX_PUBLISHED_SCHEMA);
    kx::fuzz::require(schema.is_usable(), "the schema can be read");
    static kx::fuzz::SilentDiagnostics diagnostics;
    const kx::fuzz::ManualClock clock;
    kx::fuzz::Site site(schema);
    for (const std::string_view request :
         kx::fuzz::split_requests({reinterpret_cast<const char*>(data), size})) {
        site.serve(request);
    }
    return 0;
}
