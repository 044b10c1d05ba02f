#include "support/HttpClient.h"
#include "support/TestServer.h"
#include "support/TestThreads.h"
#include "support/replies.h"

#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <string>
#include <vector>

namespace kx::information_model::opc::testing {
namespace {

const char* const SOAP = "http://schemas.xmlsoap.org/soap/envelope/";
const char* const XMLDA = "http://opcfoundation.org/webservices/XMLDA/1.0/";

std::string create_status_request() {
    return create_request("<GetStatus/>");
}

std::string get_status_response(const char* client_request_handle = nullptr) {
    return R"(<GetStatusResponse><Status ProductVersion="0.0.0.1" StartTime="2003-05-26T20:16:45.0937500-07:00">)"
           "<VendorInfo>Brevandor OPC XML DA "
           "Server</VendorInfo><SupportedLocaleIDs>en-US</SupportedLocaleIDs>"
           "<SupportedInterfaceVersions>XML_DA_Version_1_0</SupportedInterfaceVersions></Status>" +
           create_result("GetStatusResult", client_request_handle) + "</GetStatusResponse>";
}

void expect_status(const Reply& reply, const char* client_request_handle = nullptr) {
    expect_success(reply, get_status_response(client_request_handle));
}

void expect_soap_fault(const Reply& reply) {
    expect_fault(reply, "soap:Server", "Server was unable to process request.");
}

std::set<std::string> get_header_names(const Reply& reply) {
    std::set<std::string> names;
    for (const auto& header : reply.headers) {
        names.insert(header.first);
    }
    return names;
}

std::string with_length(const std::string& head, const std::string& body) {
    return head + "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

class Dispatch : public WireTest {
protected:
    Reply exchange(const std::string& bytes) const {
        HttpClient client(server.get_port());
        client.send(bytes);
        return client.receive();
    }

    /// Sends these bytes and then the end, and reads to the end of the connection.
    std::string exchange_all(const std::string& bytes) const {
        return testing::exchange(server.get_port(), bytes);
    }

    static std::size_t count(const std::string& text, const std::string& part) {
        std::size_t found = 0;
        for (std::size_t place = text.find(part); place != std::string::npos;
             place = text.find(part, place + 1)) {
            ++found;
        }
        return found;
    }
};

// Where and how a request may come.

TEST_F(Dispatch, ServesAnyPath) {
    for (const std::string path :
         {"/", "/opc", "/a/b/c.asmx?wsdl", "/%20%00", "*", "http://other.host/x", "x"}) {
        SCOPED_TRACE(path);
        expect_status(HttpClient(server.get_port()).post(create_status_request(), path));
    }
}

TEST_F(Dispatch, ServesAnyMethod) {
    for (const std::string method :
         {"POST", "GET", "PUT", "DELETE", "OPTIONS", "PATCH", "M-POST", "ANYTHING"}) {
        SCOPED_TRACE(method);
        expect_status(exchange(with_length(method + " / HTTP/1.1\r\nHost: x\r\n", create_status_request())));
    }
}

TEST_F(Dispatch, SendsNoBodyToHead) {
    const std::string received =
        exchange_all(with_length("HEAD / HTTP/1.1\r\nConnection: close\r\n", create_status_request()));
    EXPECT_TRUE(received.starts_with("HTTP/1.1 200 OK\r\n")) << received;
    EXPECT_TRUE(received.ends_with("\r\n\r\n")) << received;
}

// The header is that of the same answer to a POST.
TEST_F(Dispatch, SendsNoBodyToHeadWhateverTheAnswer) {
    const std::string status = with_length("HEAD / HTTP/1.1\r\n", create_status_request());
    const std::string fault = with_length("HEAD / HTTP/1.1\r\n", "<a/>");
    const std::string received =
        exchange_all(fault + status + fault + with_length("HEAD / HTTP/1.1\r\n", "no xml"));
    EXPECT_EQ(count(received, "HTTP/1.1 200 OK\r\n"), 1U) << received;
    EXPECT_EQ(count(received, "HTTP/1.1 400 Bad Request\r\n"), 3U) << received;
    EXPECT_EQ(count(received, "\r\n\r\n"), 4U) << received;
    EXPECT_EQ(count(received, "Transfer-Encoding: chunked\r\n"), 2U) << received;
    EXPECT_EQ(count(received, "Connection: Keep-Alive\r\n"), 2U) << received;
    EXPECT_EQ(count(received, "Connection: Close\r\n"), 1U) << received;
    EXPECT_TRUE(received.ends_with("\r\n\r\n")) << received;
    EXPECT_EQ(count(received, "<"), 0U) << received;
}

TEST_F(Dispatch, KnowsTheVersionsOfHttpThatItServes) {
    for (const std::string version :
         {"<script>", "HTTP/0.9", "HTTP/1.2", "HTTP/2.0", "http/1.1", "HTTPS/1."}) {
        for (const std::string header : {"", "Expect: 100-continue\r\n"}) {
            SCOPED_TRACE(version + ' ' + header);
            const std::string received =
                exchange_all(with_length("POST / " + version + "\r\n" + header, create_status_request()));
            EXPECT_TRUE(received.starts_with("HTTP/1.1 400 Bad Request\r\n")) << received;
            EXPECT_TRUE(received.ends_with("\r\n\r\nBad request")) << received;
        }
    }
}

TEST_F(Dispatch, LooksAtNoHeader) {
    for (const std::string header :
         {"Content-Type: image/png\r\n", "Content-Type: text/xml; charset=utf-16\r\n",
          "SOAPAction: \"other\"\r\n", "Authorization: Basic eDp5\r\n", "Accept: image/png\r\n",
          "Accept-Encoding: gzip\r\n", "Host: \r\n"}) {
        SCOPED_TRACE(header);
        expect_status(exchange(with_length("POST / HTTP/1.1\r\n" + header, create_status_request())));
    }
}

TEST_F(Dispatch, TakesChunkedBodies) {
    for (const std::size_t size : {1U, 7U, 100U, 100000U}) {
        SCOPED_TRACE(size);
        const std::string body = create_status_request();
        std::string chunks;
        for (std::size_t start = 0; start < body.size(); start += size) {
            const std::string chunk = body.substr(start, size);
            char length[20];
            std::snprintf(length, sizeof length, "%zx", chunk.size());
            chunks += std::string(length) + "\r\n" + chunk + "\r\n";
        }
        expect_status(
            exchange("POST / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n" + chunks + "0\r\n\r\n"));
    }
}

// A server that waited for the end of the connection would lose a worker to each such client.
TEST_F(Dispatch, RequestWithoutALengthHasNoBody) {
    for (const std::string method : {"POST", "PUT", "OPTIONS", "GET", "ANYTHING"}) {
        for (const std::string version : {"HTTP/1.1", "HTTP/1.0"}) {
            SCOPED_TRACE(method + ' ' + version);
            HttpClient client(server.get_port());
            client.send(method + " / " + version + "\r\n\r\n");
            const Reply reply = client.receive();
            expect_bad_request(reply);
            EXPECT_EQ(reply.headers.at("connection"), "Close");
            EXPECT_TRUE(client.is_closed(10));
        }
    }
}

TEST_F(Dispatch, TakesABodyInPieces) {
    HttpClient client(server.get_port());
    for (const char byte : with_length("POST / HTTP/1.1\r\n", create_status_request())) {
        client.send(std::string(1, byte));
    }
    expect_status(client.receive());
}

TEST_F(Dispatch, TellsClientsThatAskToGoOn) {
    HttpClient client(server.get_port());
    const std::string body = create_status_request();
    client.send("POST / HTTP/1.1\r\nExpect: 100-continue\r\nContent-Length: " + std::to_string(body.size()) +
                "\r\n\r\n");
    EXPECT_EQ(client.receive().status, 100);
    client.send(body);
    expect_status(client.receive());
}

TEST_F(Dispatch, ServesOldHttp) {
    HttpClient client(server.get_port());
    client.send(with_length("POST / HTTP/1.0\r\n", create_status_request()));
    expect_status(client.receive());
    EXPECT_TRUE(client.is_closed(10));
}

// What the answers carry.

TEST_F(Dispatch, SendsTheseHeadersAndNoOthers) {
    using Names = std::set<std::string>;
    EXPECT_EQ(get_header_names(server.post(create_status_request())),
              (Names{"content-length", "content-type", "date"}));
    EXPECT_EQ(get_header_names(server.post("<a/>")),
              (Names{"connection", "content-type", "date", "transfer-encoding"}));
    EXPECT_EQ(get_header_names(server.post("")), (Names{"connection", "date"}));
}

TEST_F(Dispatch, SendsNoConnectionHeaderOnSuccessWhateverIsAsked) {
    for (const std::string asked : {"", "Connection: close\r\n", "Connection: Keep-Alive\r\n"}) {
        SCOPED_TRACE(asked);
        expect_status(exchange(with_length("POST / HTTP/1.1\r\n" + asked, create_status_request())));
    }
}

TEST_F(Dispatch, TellsInAFaultWhatBecomesOfTheConnection) {
    const Reply kept = exchange(with_length("POST / HTTP/1.1\r\n", "<a/>"));
    expect_soap_fault(kept);
    EXPECT_EQ(kept.headers.at("connection"), "Keep-Alive");
    const Reply closed = exchange(with_length("POST / HTTP/1.1\r\nConnection: close\r\n", "<a/>"));
    expect_soap_fault(closed);
    EXPECT_EQ(closed.headers.at("connection"), "Close");
}

TEST_F(Dispatch, ClosesTheConnectionAfterABadRequest) {
    HttpClient client(server.get_port());
    const Reply reply = client.post("no xml");
    expect_bad_request(reply);
    EXPECT_EQ(reply.headers.at("connection"), "Close");
    EXPECT_FALSE(reply.has_header("transfer-encoding"));
    EXPECT_FALSE(reply.has_header("content-length"));
    EXPECT_TRUE(client.is_closed(10));
}

TEST_F(Dispatch, ClosesTheConnectionWhenAsked) {
    HttpClient client(server.get_port());
    expect_status(client.post(create_status_request(), "/", "Connection: close\r\n"));
    EXPECT_TRUE(client.is_closed(10));
}

TEST_F(Dispatch, ServesSeveralRequestsOnOneConnection) {
    HttpClient client(server.get_port());
    for (const char* handle : {"1", "2", "3"}) {
        expect_status(
            client.post(create_request("<GetStatus ClientRequestHandle=\"" + std::string(handle) + "\"/>")),
            handle);
        expect_soap_fault(client.post("<a/>"));
    }
    expect_status(client.post(create_status_request()));
}

TEST_F(Dispatch, ServesRequestsThatAreSentAtOnce) {
    HttpClient client(server.get_port());
    std::string requests;
    for (const std::string handle : {"1", "2", "3"}) {
        requests += with_length("POST / HTTP/1.1\r\n",
                                create_request("<GetStatus ClientRequestHandle=\"" + handle + "\"/>"));
    }
    client.send(requests);
    for (const char* handle : {"1", "2", "3"}) {
        expect_status(client.receive(), handle);
    }
}

// Which element is served.

std::string create_envelope(const std::string& attributes, const std::string& content,
                            const std::string& prefix = "s:") {
    return "<" + prefix + "Envelope xmlns:s='" + SOAP + "' " + attributes + ">" + content + "</" + prefix +
           "Envelope>";
}

TEST_F(Dispatch, UnderstandsAnyPrefix) {
    const std::string da = std::string("='") + XMLDA + "'";
    const std::vector<std::string> bodies = {
        create_envelope("xmlns:q" + da, "<s:Body><q:GetStatus/></s:Body>"),
        create_envelope("", "<s:Body><GetStatus xmlns" + da + "/></s:Body>"),
        create_envelope("xmlns" + da, "<s:Body><GetStatus/></s:Body>"),
        create_envelope("xmlns:xmlda='urn:misleading' xmlns:q" + da, "<s:Body><q:GetStatus/></s:Body>"),
        std::string("<Envelope xmlns='") + SOAP + "'><Body><x:GetStatus xmlns:x" + da +
            "/></Body></Envelope>",
        "<s:Envelope xmlns:s" + da + " xmlns:soap='" + SOAP + "'><s:Body/></s:Envelope>",
    };
    for (std::size_t index = 0; index + 1 < bodies.size(); ++index) {
        SCOPED_TRACE(bodies[index]);
        expect_status(server.post(bodies[index]));
    }
    expect_soap_fault(server.post(bodies.back()));
}

TEST_F(Dispatch, UnderstandsOtherEncodings) {
    const std::string body = create_envelope(std::string("xmlns='") + XMLDA + "'",
                                             "<s:Body><GetStatus ClientRequestHandle='\xE4'/></s:Body>");
    expect_status(server.post("<?xml version='1.0' encoding='ISO-8859-1'?>" + body), "\xC3\xA4");
    std::string utf16 = "\xFF\xFE";
    for (const char byte : body) {
        utf16 += byte;
        utf16 += '\0';
    }
    expect_status(server.post(utf16), "\xC3\xA4");
    expect_status(server.post("\xEF\xBB\xBF" + create_status_request()));
}

TEST_F(Dispatch, IgnoresWhatStandsAround) {
    expect_status(
        server.post("<!--c--><?p?>" +
                    create_envelope(std::string("xmlns='") + XMLDA + "'",
                                    "text<!--c--><s:Header><Read/><other xmlns='urn:x'/></s:Header><x/>"
                                    "<s:Body>text<![CDATA[text]]><?p?><other "
                                    "xmlns='urn:x'/><GetStatus><Read/>text</GetStatus></s:Body>"
                                    "<s:Body><Read/></s:Body>") +
                    "<!--c-->\n"));
}

TEST_F(Dispatch, ServesTheFirstServiceOfItsTable) {
    expect_status(server.call("<Read/><GetStatus/>"));
    expect_status(server.call("<SubscriptionCancel/><Write/><Browse/><GetStatus/><GetProperties/>"));
    expect_success(server.call("<SubscriptionCancel/><Write/><Read/>"),
                   "<ReadResponse><RItemList/>" + create_result("ReadResult") + "</ReadResponse>");
}

// Each request element, by the name of its response.
TEST_F(Dispatch, TakesTheServicesInTheirOrder) {
    const std::vector<std::string> elements = {
        "<GetStatus/>",
        R"(<Browse ItemName="/"/>)",
        R"(<GetProperties/>)",
        "<Read/>",
        R"(<Write ReturnValuesOnReply="false"/>)",
        R"(<Subscribe ReturnValuesOnReply="false" SubscriptionPingRate="3600000"/>)",
        "<SubscriptionPolledRefresh/>",
    };
    for (std::size_t first = 0; first < elements.size(); ++first) {
        std::string content;
        for (std::size_t index = elements.size(); index > first; --index) {
            content += elements[index - 1];
        }
        const std::string name = elements[first].substr(1, elements[first].find_first_of(" /") - 1);
        const Reply reply = server.call(content + "<SubscriptionCancel/>");
        EXPECT_EQ(reply.status, 200) << name;
        EXPECT_NE(reply.body.find("<soap:Body><" + name + "Response"), std::string::npos) << reply.body;
    }
}

TEST_F(Dispatch, ServesTheFirstElementOfAName) {
    expect_status(
        server.call(R"(<GetStatus ClientRequestHandle="first"/><GetStatus ClientRequestHandle="second"/>)"),
        "first");
    expect_status(server.post(create_envelope(std::string("xmlns='") + XMLDA + "'",
                                              "<s:Body><GetStatus ClientRequestHandle='1'/></s:Body>"
                                              "<s:Body><GetStatus ClientRequestHandle='2'/></s:Body>")),
                  "1");
}

TEST_F(Dispatch, AnswersUnknownElementsWithBadRequest) {
    for (const std::string element :
         {"", " text ", "<GetStatusResponse/>", "<getstatus/>", "<GetStatus xmlns=''/>",
          "<GetStatus xmlns='urn:x'/>", "<GetStatus xmlns='http://opcfoundation.org/webservices/XMLDA/1.0'/>",
          "<soap:GetStatus/>", "<Other><GetStatus/></Other>", "<!-- <GetStatus/> -->",
          "<![CDATA[<GetStatus/>]]>", "<?GetStatus?>"}) {
        SCOPED_TRACE(element);
        expect_bad_request(server.call(element));
    }
}

// Bodies without an envelope or without its body.

TEST_F(Dispatch, AnswersOtherDocumentsWithAFault) {
    const std::string soap12 = "http://www.w3.org/2003/05/soap-envelope";
    for (const std::string& body :
         {std::string("<a/>"), std::string("<Envelope/>"),
          std::string("<Envelope xmlns='urn:x'><Body/></Envelope>"),
          "<s:Envelope xmlns:s='" + soap12 + "'><s:Body><GetStatus xmlns='" + XMLDA +
              "'/></s:Body></s:Envelope>",
          create_envelope("", ""), create_envelope("", "<s:Header/>"), create_envelope("", "<Body/>"),
          create_envelope("xmlns:t='" + soap12 + "'", "<t:Body/>"), create_envelope("", "<x><s:Body/></x>"),
          "<x>" + create_status_request().substr(create_status_request().find("<soap:Envelope")) + "</x>",
          std::string("<s:Body xmlns:s='") + SOAP + "'/>",
          std::string("<s:envelope xmlns:s='") + SOAP + "'/>"}) {
        SCOPED_TRACE(body);
        expect_soap_fault(server.post(body));
    }
}

// Bodies that are no documents.

TEST_F(Dispatch, AnswersWhatIsNoXmlWithBadRequest) {
    for (const std::string& body :
         {std::string(), std::string(" "), std::string("garbage"), std::string("{}"), std::string(1000, '\0'),
          std::string("\xFF\xFE\xFD"), std::string("<a>"), std::string("<a></b>"),
          std::string("<?xml version='1.0'?>"), create_status_request() + "x",
          create_status_request().substr(0, create_status_request().size() - 1),
          std::string("<s:Envelope/>")}) {
        SCOPED_TRACE(body.substr(0, 50));
        expect_bad_request(server.post(body));
    }
    expect_status(server.post(create_status_request()));
}

TEST_F(Dispatch, AnswersGetWithoutABodyWithBadRequest) {
    for (const std::string method : {"GET", "DELETE"}) {
        expect_bad_request(exchange(method + " / HTTP/1.1\r\nHost: x\r\n\r\n"));
    }
}

TEST_F(Dispatch, AnswersTruncatedBodiesWithBadRequest) {
    HttpClient client(server.get_port());
    client.send("POST / HTTP/1.1\r\nContent-Length: 100000\r\n\r\n" + create_status_request().substr(0, 100));
    client.get_socket().shutdownSend();
    expect_bad_request(client.receive());
}

TEST_F(Dispatch, RefusesWhatCouldExhaustIt) {
    std::string deep;
    for (int level = 0; level < 88000; ++level) {
        deep += "<a>";
    }
    expect_bad_request(server.post(deep));
    expect_bad_request(server.post("<!DOCTYPE a><a/>"));
    expect_bad_request(server.post("<!DOCTYPE a [<!ENTITY x 'y'>]>" + create_status_request().substr(38)));
    expect_status(server.post(create_status_request()));
}

TEST_F(Dispatch, SurvivesWhatIsNoHttp) {
    for (const std::string& bytes :
         {std::string("\r\n\r\n"), std::string("garbage\r\n\r\n"), std::string(100000, 'x'),
          std::string("POST / HTTP/1.1\r\nContent-Length: -1\r\n\r\n"),
          std::string("POST / HTTP/1.1\r\nContent-Length: 99999999999999999999\r\n\r\nx"),
          std::string("POST / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\nzzz\r\n"),
          std::string("POST / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\nFFFFFFFFFFFFFFFF\r\nx"),
          "POST / HTTP/1.1\r\n" + std::string(10000, 'h') + ": x\r\n\r\n"}) {
        HttpClient client(server.get_port());
        try {
            client.send(bytes);
            client.get_socket().shutdownSend();
        } catch (const Poco::Exception&) {  // closed before it had read all
        }
    }
    expect_status(server.post(create_status_request()));
}

TEST_F(Dispatch, SurvivesClientsThatLeave) {
    server.get_root().add_variable("large", Value(std::string(std::size_t{4} << 20U, 'x')));
    const std::string request =
        create_request(R"(<Read><ItemList><Items ItemName="large"/></ItemList></Read>)");
    for (int round = 0; round < 8; ++round) {
        HttpClient client(server.get_port());
        client.send(with_length("POST / HTTP/1.1\r\n", request));
        client.get_socket().setLinger(true, 0);  // resets the connection
    }
    expect_status(server.post(create_status_request()));
}

// Many at once.

TEST_F(Dispatch, ServesClientsAtOnce) {
    server.get_root().add_variable("v", Value(42));
    const std::string value =
        R"(<ReadResponse><RItemList><Items ItemName="/v"><Value xsi:type="xsd:int">42</Value></Items></RItemList>)" +
        create_result("ReadResult") + "</ReadResponse>";
    TestThreads clients;
    std::atomic<int> answers{0};
    for (int number = 0; number < 8; ++number) {
        clients.start([&, number] {
            const std::string handle = std::to_string(number);
            HttpClient client(server.get_port());
            for (int round = 0; round < 50; ++round) {
                expect_status(
                    client.post(create_request("<GetStatus ClientRequestHandle=\"" + handle + "\"/>")),
                    handle.c_str());
                expect_success(
                    client.post(create_request(R"(<Read><ItemList><Items ItemName="v"/></ItemList></Read>)")),
                    value);
                expect_soap_fault(client.post("<a/>"));
                answers += 3;
            }
            expect_bad_request(client.post("no xml"));
        });
    }
    clients.join();
    EXPECT_EQ(answers, 8 * 50 * 3);
}

}  // namespace
}  // namespace kx::information_model::opc::testing
