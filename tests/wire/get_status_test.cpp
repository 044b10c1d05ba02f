#include "support/TestServer.h"
#include "support/replies.h"

#include <information_model/TimePoint.h>

#include <gtest/gtest.h>

#include <chrono>
#include <mutex>
#include <string>

namespace kx::information_model::opc::testing {
namespace {

using std::chrono::system_clock;

class GetStatusService : public WireTest {
protected:
    void expect_status(const std::string& request, const char* client_request_handle = nullptr) const {
        expect_success(
            server.call(request),
            R"(<GetStatusResponse><Status ProductVersion="0.0.0.1" StartTime="2003-05-26T20:16:45.0937500-07:00">)"
            "<VendorInfo>Brevandor OPC XML DA "
            "Server</VendorInfo><SupportedLocaleIDs>en-US</SupportedLocaleIDs>"
            "<SupportedInterfaceVersions>XML_DA_Version_1_0</SupportedInterfaceVersions></Status>" +
                create_result("GetStatusResult", client_request_handle) + "</GetStatusResponse>");
    }
};

TEST_F(GetStatusService, DescribesTheServer) {
    expect_status("<GetStatus/>");
}

TEST_F(GetStatusService, AnswersTheSameEachTime) {
    expect_status("<GetStatus/>");
    server.get_root().add_variable("v", Value(1));
    expect_status("<GetStatus/>");
}

TEST_F(GetStatusService, EchoesTheHandle) {
    expect_status(R"(<GetStatus ClientRequestHandle="handle"/>)", "handle");
    expect_status(R"(<GetStatus ClientRequestHandle=""/>)", "");
    expect_status(R"(<GetStatus ClientRequestHandle="&lt;&amp;&quot;&#10;&#x20AC;"/>)",
                  "&lt;&amp;&quot;&#xA;\xE2\x82\xAC");
    expect_status(R"(<q:GetStatus xmlns:q="http://opcfoundation.org/webservices/XMLDA/1.0/")"
                  R"( q:ClientRequestHandle="qualified" ClientRequestHandle="plain"/>)",
                  "qualified");
}

TEST_F(GetStatusService, KnowsOneLocaleWhateverIsAsked) {
    for (const std::string locale : {"de-DE", "en-US", "", "no locale"}) {
        expect_status("<GetStatus LocaleID=\"" + locale + "\"/>");
    }
    expect_status(R"(<GetStatus LocaleID="fr" ClientRequestHandle="h"/>)", "h");
}

TEST_F(GetStatusService, IgnoresEverythingElse) {
    expect_status(R"(<GetStatus x:ClientRequestHandle="foreign" xmlns:x="urn:x" Other="1"/>)");
    expect_status(
        R"(<GetStatus><Options ClientRequestHandle="h" ReturnItemTime="maybe"/>text<!--c--></GetStatus>)");
}

TEST_F(GetStatusService, TakesNoLock) {
    const std::unique_lock lock(server.get_tree());
    expect_status("<GetStatus/>");
}

std::string get_attribute(const std::string& text, const std::string& name) {
    const auto start = text.find(name + "=\"") + name.size() + 2;
    return text.substr(start, text.find('"', start) - start);
}

TEST_F(GetStatusService, TellsItsTimes) {
    const TimePoint before = system_clock::now();
    const std::string body = server.call("<GetStatus/>").body;
    const TimePoint after = system_clock::now();
    const TimePoint received = date_time_from_iso8601_string(get_attribute(body, "RcvTime"));
    const TimePoint replied = date_time_from_iso8601_string(get_attribute(body, "ReplyTime"));
    EXPECT_LE(before, received);
    EXPECT_LE(received, replied);
    EXPECT_LE(replied, after);
}

}  // namespace
}  // namespace kx::information_model::opc::testing
