#include "FakeServer.h"
#include "xmlda_program.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <Poco/DeflatingStream.h>
#include <Poco/Net/ServerSocket.h>
#include <Poco/Net/StreamSocket.h>

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iomanip>
#include <iterator>
#include <map>
#include <sstream>
#include <string>

namespace xmlda::testing {
namespace {

/// What the program says and how it ends when something is wrong with the server or the way to it.
void expect_message(const Outcome& outcome, int status, const std::string& message) {
    expect_failure(outcome, status, "xmlda: " + message + "\n");
}

/// Asks a server that always gives the same answer for its status.
Outcome ask(const std::string& answer, const std::vector<std::string>& options = {}) {
    const FakeServer server([&answer](const std::string& /*request*/) { return answer; });
    std::vector<std::string> arguments = {"status", server.get_url()};
    arguments.insert(arguments.end(), options.begin(), options.end());
    return run_xmlda(arguments);
}

/// The bytes as gzip packs them.
std::string pack(const std::string& bytes) {
    std::ostringstream packed;
    Poco::DeflatingOutputStream stream(packed, Poco::DeflatingStreamBuf::STREAM_GZIP);
    stream << bytes;
    stream.close();
    return packed.str();
}

std::string get_unused_address() {
    return Poco::Net::ServerSocket(Poco::Net::SocketAddress("127.0.0.1", 0)).address().toString();
}

TEST(Failures, UnknownHost) {
    expect_message(run_xmlda({"status", "http://no..host:8080"}), 3, "unknown host 'no..host'");
}

TEST(Failures, ConnectionRefused) {
    const std::string address = get_unused_address();

    expect_message(run_xmlda({"status", "http://" + address}), 4,
                   "cannot connect to " + address + ": connection refused");
}

TEST(Failures, NumericAddressesNeedNoName) {
    const std::string address = get_unused_address();
    const std::string other = "127.0.0.2" + address.substr(address.find(':'));

    expect_message(run_xmlda({"status", "http://" + other}), 4,
                   "cannot connect to " + other + ": connection refused");
}

TEST(Failures, ClosedWithoutAnAnswer) {
    expect_message(ask(FakeServer::CLOSE), 4, "the server closed the connection without an answer");
}

TEST(Failures, TimeOut) {
    expect_message(ask(FakeServer::SILENCE, {"--timeout", "100ms"}), 6,
                   "no complete reply within the timeout");
}

TEST(Failures, TimeOutInTheMiddle) {
    expect_message(ask("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nabc", {"--timeout", "100ms"}), 6,
                   "no complete reply within the timeout");
}

TEST(Failures, FaultsWithAnyStatus) {
    const std::string fault =
        "<E:Fault><faultcode>da:E_FAIL</faultcode><faultstring>no luck</faultstring></E:Fault>";
    for (const char* const status : {"500 Internal Server Error", "400 Bad Request", "200 OK"}) {
        expect_message(ask(to_soap_reply(fault, status)), 7,
                       "the server refused the request: E_FAIL: no luck");
    }
}

TEST(Failures, FaultsCannotObeyTheTerminal) {
    const std::string fault =
        "<E:Fault><faultcode>E_FAIL</faultcode><faultstring>a&#x9b;31m\nb</faultstring></E:Fault>";

    expect_message(ask(to_soap_reply(fault)), 7, "the server refused the request: E_FAIL: a\\x9b31m\\nb");
}

TEST(Failures, BadRequest) {
    expect_message(
        ask("HTTP/1.1 400 Bad Request\r\nTransfer-Encoding: chunked\r\n\r\nB\r\nBad request\r\n0\r\n\r\n"), 8,
        "the server answered 400 Bad Request \"Bad request\": it does not understand the request; "
        "an item name or a value may be malformed");
}

TEST(Failures, OtherStatuses) {
    expect_message(ask(to_reply("<html><body>gone</body></html>", "404 Not Found", "text/html")), 9,
                   "the server answered 404 Not Found");
    expect_message(ask(to_reply("try later\nmore", "503 Service Unavailable", "text/plain")), 9,
                   "the server answered 503 Service Unavailable \"try later\"");
    expect_message(
        ask(to_reply("", "401 Unauthorized")), 9,
        "the server answered 401 Unauthorized: authentication is required (--user, --certificate)");
    expect_message(ask(to_reply("", "302 Found")), 9, "the server answered 302 Found");
}

TEST(Failures, RedirectionsNameTheirTarget) {
    expect_message(
        ask("HTTP/1.1 302 Found\r\nLocation: https://other.example/da\r\nContent-Length: 0\r\n\r\n"), 9,
        "the server answered 302 Found: the server is at https://other.example/da");
}

TEST(Failures, StatusLinesCannotObeyTheTerminal) {
    expect_message(ask(to_reply("", "500 \x1b[31mred")), 9, "the server answered 500 \\x1b[31mred");
}

TEST(Failures, UnexpectedContent) {
    expect_message(ask("220 mail.example ESMTP\r\n"), 10, "the answer is not HTTP");
    expect_message(ask(to_reply("hello")), 10, "the reply is malformed XML: syntax error in line 1");
    expect_message(ask(to_reply("")), 10, "the reply is malformed XML: no element found in line 1");
    expect_message(ask(to_reply("<html/>")), 10, "the reply is not a SOAP envelope with a body");
    expect_message(ask(to_soap_reply("<da:ReadResponse/>")), 10,
                   "the reply holds 'ReadResponse' instead of 'GetStatusResponse'");
    expect_message(ask(to_reply("<!DOCTYPE a [<!ENTITY b 'c'>]><a/>")), 10,
                   "the reply is malformed XML: a document type declaration in line 1");
}

TEST(Failures, TlsInAnswerToPlainText) {
    expect_message(ask("\x15\x03\x03"), 10,
                   "the answer is not HTTP: the server seems to speak TLS, try https://");
}

TEST(Failures, HeadersWithoutEnd) {
    std::string reply = "HTTP/1.1 200 OK\r\n";
    for (int i = 0; i < 2000; ++i) {
        reply += "X-Header: " + std::string(100, 'x') + "\r\n";
    }
    expect_message(ask(reply), 10, "the answer is not HTTP: its headers are too long");

    const Outcome outcome = ask("HTTP/1.1 200 OK\r\nX-Header: " + std::string(1'000'000, 'x'));
    EXPECT_THAT(outcome.errors, ::testing::HasSubstr("header"));
    EXPECT_EQ(outcome.status, 10);
}

TEST(Failures, TooLargeReplies) {
    const std::string message = "the reply is larger than 1 MiB (--max-reply allows more)";
    const std::string large(2 * 1024 * 1024, ' ');
    expect_message(ask("HTTP/1.1 200 OK\r\nContent-Length: 99999999999\r\n\r\n", {"--max-reply", "1"}), 10,
                   message);
    expect_message(ask(to_reply(large), {"--max-reply", "1"}), 10, message);
    expect_message(ask("HTTP/1.1 200 OK\r\nContent-Encoding: gzip\r\nConnection: close\r\nContent-Length: " +
                           std::to_string(pack(large).size()) + "\r\n\r\n" + pack(large),
                       {"--max-reply", "1"}),
                   10, message);
}

TEST(Failures, TlsWithAServerThatHasNone) {
    const FakeServer server([](const std::string& /*request*/) { return FakeServer::CLOSE; });
    const std::string address = server.get_url().substr(std::string("http://").size());
    const Outcome outcome = run_xmlda({"status", "https://" + address, "--timeout", "200ms"});

    // It waits for the end of a request in plain text, which never comes.
    expect_message(outcome, 6, "no TLS connection with " + address + " within the timeout");
}

TEST(Failures, TimeOutWhileHeadersTrickle) {
    expect_message(ask(FakeServer::TRICKLE, {"--timeout", "200ms"}), 6,
                   "no complete reply within the timeout");
}

/// A name server that does not answer.
std::map<std::string, std::string> get_hanging_lookup() {
    const char* const options = std::getenv("ASAN_OPTIONS");
    // The sanitizer wants to be the first library otherwise.
    return {{"LD_PRELOAD", HANGING_LOOKUP},
            {"ASAN_OPTIONS",
             (options == nullptr ? "" : std::string(options) + ':') + "verify_asan_link_order=0"}};
}

TEST(Hanging, LookUpsEndWithTheDeadline) {
    const Outcome outcome =
        run_xmlda({"read", "http://plant.example:8080", "a", "--timeout", "300ms"}, get_hanging_lookup());

    EXPECT_THAT(outcome.errors,
                ::testing::HasSubstr("xmlda: cannot look up 'plant.example' within the timeout\n"));
    EXPECT_EQ(outcome.status, 6);
}

TEST(Hanging, LookUpsEndOnCtrlC) {
    ChildProcess watch(get_xmlda_command({"watch", "http://plant.example:8080", "a", "--timeout", "1h"}),
                       ChildProcess::Place::PIPES, get_hanging_lookup());
    watch.wait_for_errors("looking up\n");
    watch.send_signal(SIGINT);

    EXPECT_EQ(watch.wait().status, 0);
}

/// A server that is too busy to take connections: its queue is full, and what comes is not answered.
class BusyServer {
public:
    BusyServer() {
        socket_.bind(Poco::Net::SocketAddress("127.0.0.1", 0));
        socket_.listen(0);
        first_.connect(socket_.address());
    }

    std::string get_address() const { return socket_.address().toString(); }

    /// Whether somebody waits to be connected.
    bool is_waited_for() const {
        std::ostringstream place;
        place << "0100007F:" << std::hex << std::uppercase << std::setw(4) << std::setfill('0')
              << socket_.address().port() << " 02 ";
        std::ifstream connections("/proc/net/tcp");
        const std::string text{std::istreambuf_iterator(connections), {}};
        return text.find(place.str()) != std::string::npos;
    }

private:
    Poco::Net::ServerSocket socket_;
    Poco::Net::StreamSocket first_;  // takes the only place
};

TEST(Hanging, ConnectionsEndWithTheDeadline) {
    const BusyServer server;

    expect_message(run_xmlda({"status", "http://" + server.get_address(), "--timeout", "300ms"}), 6,
                   "cannot connect to " + server.get_address() + " within the timeout");
}

TEST(Hanging, ConnectionsEndOnCtrlC) {
    const BusyServer server;
    ChildProcess watch(
        get_xmlda_command({"watch", "http://" + server.get_address(), "a", "--timeout", "1h"}));
    watch.wait_for([&server](const Outcome& /*outcome*/) { return server.is_waited_for(); });
    watch.send_signal(SIGINT);

    EXPECT_EQ(watch.wait().status, 0);
}

TEST(Connections, AreUsedAgain) {
    const FakeServer server([](const std::string& /*request*/) {
        return to_soap_reply(
            "<da:BrowseResponse><da:Elements Name='a' ItemName='a' HasChildren='0' IsItem='1'/>"
            "</da:BrowseResponse>");
    });

    EXPECT_EQ(run_xmlda({"browse", server.get_url()}).status, 0);
    const std::string request = server.get_requests().at(0);
    EXPECT_TRUE(request.starts_with(
        "POST / HTTP/1.1\r\nHost: " + server.get_url().substr(std::string("http://").size()) +
        "\r\nUser-Agent: xmlda/"))
        << request;
    EXPECT_NE(request.find("\r\nContent-Type: text/xml; charset=utf-8\r\n"), std::string::npos);
    EXPECT_NE(request.find("\r\nSOAPAction: \"http://opcfoundation.org/webservices/XMLDA/1.0/Browse\"\r\n"),
              std::string::npos);
    EXPECT_EQ(request.find("Authorization"), std::string::npos);
}

TEST(Connections, ThatAServerGivesUpAreOpenedAgain) {
    int requests = 0;
    const FakeServer server([&requests](const std::string& /*request*/) {
        // Every second request meets a connection that has just been given up.
        return ++requests % 2 == 0 ? FakeServer::CLOSE
                                   : to_soap_reply("<da:BrowseResponse><da:Elements Name='a' ItemName='" +
                                                   std::to_string(requests) + "' HasChildren='" +
                                                   (requests < 5 ? "1" : "0") + "'/></da:BrowseResponse>");
    });
    const Outcome outcome = run_xmlda({"browse", server.get_url(), "--recursive", "--names"});

    EXPECT_EQ(outcome.output, "1\n3\n5\n");
    EXPECT_EQ(outcome.status, 0);
}

TEST(Connections, CarryAUserAndThePathOfTheUrl) {
    const FakeServer server(
        [](const std::string& /*request*/) { return to_soap_reply("<da:GetStatusResponse/>"); });

    EXPECT_EQ(
        run_xmlda({"status", server.get_url() + "/a/b?c=d", "--user", "me"}, {{"XMLDA_PASSWORD", "secret"}})
            .status,
        0);
    const std::string request = server.get_requests().at(0);
    EXPECT_TRUE(request.starts_with("POST /a/b?c=d HTTP/1.1\r\n")) << request;
    EXPECT_NE(request.find("\r\nAuthorization: Basic bWU6c2VjcmV0\r\n"), std::string::npos) << request;
}

TEST(Connections, TakePackedReplies) {
    const std::string packed =
        pack(to_envelope("<da:GetStatusResponse><da:GetStatusResult "
                         "ServerState='running'/></da:GetStatusResponse>"));
    const FakeServer server([&packed](const std::string& /*request*/) {
        return "HTTP/1.1 200 OK\r\nContent-Encoding: gzip\r\nContent-Length: " +
               std::to_string(packed.size()) + "\r\n\r\n" + packed;
    });
    const Outcome outcome = run_xmlda({"status", server.get_url()});

    EXPECT_EQ(outcome.output, "State  running\n");
    EXPECT_THAT(server.get_requests().at(0), ::testing::HasSubstr("\r\nAccept-Encoding: "));
}

TEST(Connections, AskNobodyWhetherTheyMayGoOn) {
    const FakeServer server([](const std::string& /*request*/) {
        return to_soap_reply(
            "<da:WriteResponse><da:RItemList><da:Items "
            "ClientItemHandle='1'/></da:RItemList></da:WriteResponse>");
    });
    const Outcome outcome = run_xmlda({"write", server.get_url(), "--type", "string", "--without-values",
                                       "a=" + std::string(100'000, 'x')});

    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_EQ(server.get_requests().at(0).find("Expect"), std::string::npos);
}

TEST(Connections, GoThroughTheProxyOfTheEnvironment) {
    const FakeServer proxy(
        [](const std::string& /*request*/) { return to_soap_reply("<da:GetStatusResponse/>"); });

    EXPECT_EQ(run_xmlda({"status", "http://plant.example:81/da"}, {{"http_proxy", proxy.get_url()}}).status,
              0);
    EXPECT_TRUE(proxy.get_requests().at(0).starts_with("POST http://plant.example:81/da HTTP/1.1\r\n"))
        << proxy.get_requests().at(0);
}

TEST(Connections, ToThisMachineNeedNoProxy) {
    const std::string proxy = "http://" + get_unused_address();
    const FakeServer server(
        [](const std::string& /*request*/) { return to_soap_reply("<da:GetStatusResponse/>"); });

    EXPECT_EQ(run_xmlda({"status", server.get_url()}, {{"http_proxy", proxy}}).status, 0);
}

}  // namespace
}  // namespace xmlda::testing
