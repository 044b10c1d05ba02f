#include "hardening/allocation_failure.h"
#include "support/HttpClient.h"
#include "support/StderrCapture.h"
#include "support/TestServer.h"
#include "support/replies.h"

#include <information_model/Registration.h>
#include <information_model/Variable.h>

#include <gtest/gtest.h>

#include <functional>
#include <mutex>
#include <optional>
#include <ostream>
#include <regex>
#include <string>
#include <vector>

namespace kx::information_model::opc::testing {
namespace {

const std::string HANDLE = "HANDLE";

/// A request that runs out of memory at each of its allocations in turn.
struct Shortage {
    const char* name;
    std::string request;  ///< HANDLE stands for the handle of a subscription made for each attempt
    int status;           ///< of its answer when there is memory
    SHORTAGE shortage;

    friend std::ostream& operator<<(std::ostream& stream, const Shortage& test_case) {
        return stream << test_case.name << (test_case.shortage == SHORTAGE::ONCE ? "Once" : "Lasting");
    }
};

const std::string ITEMS = R"(<ItemList><Items ItemName="/d/double" ClientItemHandle="first"/>)"
                          R"(<Items ItemName="/d/texts" ClientItemHandle="&lt;second&gt;"/>)"
                          R"(<Items ItemName="/d"/><Items ItemName="/missing"/></ItemList>)";

class MemoryShortage : public ::testing::TestWithParam<Shortage> {
protected:
    MemoryShortage() {
        Domain& domain = server_.get_root().add_domain("d", {.description = "a domain"});
        Variable& number = domain.add_variable("double", Value(21.5),
                                               {.description = "a number",
                                                .writable = true,
                                                .engineering_unit = "degC",
                                                .range = {.lower = Value(0.0), .upper = Value(400.0)}});
        domain.add_variable("texts", Value(std::vector<std::string>{"a <text> longer than thirty bytes", ""}),
                            {.writable = true});
        registration_.emplace(number.on_change([this](const Path& path, const Value& /*value*/) {
            const AllocationExemption exemption;
            told_ = path.as_string();
        }));
    }

    std::string subscribe() const {
        const Reply reply =
            server_.call(R"(<Subscribe ReturnValuesOnReply="false" SubscriptionPingRate="600000">)" + ITEMS +
                         "</Subscribe>");
        std::smatch match;
        EXPECT_TRUE(std::regex_search(reply.body, match, std::regex("ServerSubHandle=\"(\\d+)\"")));
        return match[1];
    }

    std::string create_body() const {
        std::string request = GetParam().request;
        const std::size_t place = request.find(HANDLE);
        if (place != std::string::npos) {
            request.replace(place, HANDLE.size(), subscribe());
        }
        return create_request(request);
    }

    /// What the client gets; nothing if the connection is closed without an answer.
    static std::optional<Reply> ask(HttpClient& client, const std::string& body) {
        try {
            return client.post(body);
        } catch (const std::exception&) {
            return std::nullopt;
        }
    }

    void expect_free_lock() {
        std::unique_lock<Tree> lock(server_.get_tree(), std::try_to_lock);
        EXPECT_TRUE(lock.owns_lock());
    }

    AllocationExemption exemption_;  // of the test's own thread
    TestServer server_;
    std::optional<Registration> registration_;
    std::string told_;
};

std::string mask(const std::string& reply) {
    static const std::regex HANDLES("ServerSubHandle=\"\\d+\"");
    return std::regex_replace(mask_all_times(reply), HANDLES, "ServerSubHandle=\"*\"");
}

TEST_P(MemoryShortage, EndsTheRequestAndNothingElse) {
    const StderrCapture diagnostics;  // keeps the lines about the missing item out of the report
    const std::string expected = mask(server_.post(create_body()).body);
    std::size_t successes = 0;
    for (bool has_failed = true; has_failed; ++successes) {
        SCOPED_TRACE(successes);
        const std::string body = create_body();
        HttpClient client(server_.get_port());
        ASSERT_EQ(client.post(create_request("<GetStatus/>")).status, 200);

        std::optional<Reply> reply;
        {
            const AllocationFailure failure(successes, GetParam().shortage);
            reply = ask(client, body);
            has_failed = failure.has_happened();
        }
        expect_free_lock();
        if (reply && (reply->status == GetParam().status && reply->body != "Bad request")) {
            EXPECT_EQ(mask(reply->body), expected);
        } else if (reply) {
            expect_bad_request(*reply);
        }
        ASSERT_TRUE(has_failed || reply);
    }
    EXPECT_GT(successes, 10U);
    EXPECT_EQ(mask(server_.post(create_body()).body), expected);
}

std::vector<Shortage> create_shortages() {
    const std::vector<Shortage> services = {
        {"GetStatus", R"(<GetStatus ClientRequestHandle="handle"/>)", 200, SHORTAGE::ONCE},
        {"Browse", R"(<Browse ItemName="/d" ReturnAllProperties="true" ReturnPropertyValues="true"/>)", 200,
         SHORTAGE::ONCE},
        {"GetProperties",
         R"(<GetProperties ReturnAllProperties="true" ReturnPropertyValues="true">)"
         R"(<ItemIDs ItemName="/d/double"/><ItemIDs ItemName="/missing"/></GetProperties>)",
         200, SHORTAGE::ONCE},
        {"Read", "<Read>" + ITEMS + "</Read>", 200, SHORTAGE::ONCE},
        {"Write",
         R"(<Write ReturnValuesOnReply="true"><Options ReturnItemTime="true"/><ItemList>)"
         R"(<Items ItemName="/d/double"><Value xsi:type="xsd:double">1.5</Value></Items>)"
         R"(<Items ItemName="/d/texts"><Value xsi:type="ArrayOfString"><string>one</string></Value></Items>)"
         R"(</ItemList></Write>)",
         200, SHORTAGE::ONCE},
        {"Subscribe",
         R"(<Subscribe ReturnValuesOnReply="true" SubscriptionPingRate="600000">)" + ITEMS + "</Subscribe>",
         200, SHORTAGE::ONCE},
        {"PolledRefresh",
         "<SubscriptionPolledRefresh><ServerSubHandles>" + HANDLE +
             "</ServerSubHandles><ServerSubHandles>none</ServerSubHandles></SubscriptionPolledRefresh>",
         200, SHORTAGE::ONCE},
        {"Cancel",
         R"(<SubscriptionCancel ClientRequestHandle="handle" ServerSubHandle=")" + HANDLE + R"("/>)", 200,
         SHORTAGE::ONCE},
        {"Fault", R"(<Browse ItemName="/missing"/>)", 400, SHORTAGE::ONCE},
    };
    std::vector<Shortage> shortages;
    for (Shortage service : services) {
        for (const SHORTAGE shortage : {SHORTAGE::ONCE, SHORTAGE::LASTING}) {
            service.shortage = shortage;
            shortages.push_back(service);
        }
    }
    return shortages;
}

INSTANTIATE_TEST_SUITE_P(Service, MemoryShortage, ::testing::ValuesIn(create_shortages()),
                         ::testing::PrintToStringParamName());

}  // namespace
}  // namespace kx::information_model::opc::testing
