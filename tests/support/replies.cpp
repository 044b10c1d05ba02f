#include "support/replies.h"

#include <gtest/gtest.h>

#include <regex>

namespace kx::information_model::opc::testing {

namespace {

const std::string DECLARATION = R"(<?xml version="1.0" encoding="utf-8"?>)";
const std::string ENVELOPE_START = R"(<soap:Envelope xmlns="http://opcfoundation.org/webservices/XMLDA/1.0/")"
                                   R"( xmlns:soap="http://schemas.xmlsoap.org/soap/envelope/")"
                                   R"( xmlns:telvix="urn:telvix:information-model:1.0")"
                                   R"( xmlns:xsd="http://www.w3.org/2001/XMLSchema")"
                                   R"( xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance"><soap:Body>)";
const std::string ENVELOPE_END = "</soap:Body></soap:Envelope>";
const std::string TIME = R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d(?:\.\d{3}|\.\d{6}|\.\d{9})?Z)";

std::regex create_time_pattern(const std::string& names) {
    return std::regex(" (" + names + ")=\"" + TIME + "\"");
}

// Made before main: compiling regular expressions on several threads at once is a data race in the library.
const std::regex RESULT_TIMES = create_time_pattern("RcvTime|ReplyTime");
const std::regex ALL_TIMES = create_time_pattern("RcvTime|ReplyTime|Timestamp");

std::string mask(const std::string& reply, const std::regex& times) {
    return std::regex_replace(reply, times, " $1=\"*\"");
}

}  // namespace

std::string create_request(const std::string& request) {
    return R"(<?xml version="1.0" encoding="utf-8"?><soap:Envelope)"
           R"( xmlns:soap="http://schemas.xmlsoap.org/soap/envelope/")"
           R"( xmlns:xsd="http://www.w3.org/2001/XMLSchema")"
           R"( xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance")"
           R"( xmlns="http://opcfoundation.org/webservices/XMLDA/1.0/"><soap:Body>)" +
           request + ENVELOPE_END;
}

std::string create_reply(const std::string& response) {
    return DECLARATION + ENVELOPE_START + response + ENVELOPE_END;
}

std::string create_fault(const std::string& code, const std::string& text) {
    return create_reply("<soap:Fault><faultcode>" + code + "</faultcode><faultstring>" + text +
                        "</faultstring></soap:Fault>");
}

std::string create_result(const std::string& name, const char* client_request_handle) {
    const std::string handle = client_request_handle == nullptr
                                   ? std::string()
                                   : " ClientRequestHandle=\"" + std::string(client_request_handle) + "\"";
    return "<" + name + handle +
           R"( RcvTime="*" ReplyTime="*" RevisedLocaleID="en-US" ServerState="running"/>)";
}

std::string mask_times(const std::string& reply) {
    return mask(reply, RESULT_TIMES);
}

std::string mask_all_times(const std::string& reply) {
    return mask(reply, ALL_TIMES);
}

void expect_success(const Reply& reply, const std::string& response) {
    EXPECT_EQ(reply.status, 200);
    EXPECT_EQ(reply.reason, "OK");
    EXPECT_EQ(reply.headers.at("content-type"), "text/xml; charset=utf-8");
    EXPECT_EQ(reply.headers.at("content-length"), std::to_string(reply.body.size()));
    EXPECT_FALSE(reply.has_header("connection"));
    EXPECT_FALSE(reply.has_header("transfer-encoding"));
    EXPECT_EQ(mask_times(reply.body), create_reply(response));
}

void expect_fault(const Reply& reply, const std::string& code, const std::string& text) {
    EXPECT_EQ(reply.status, 400);
    EXPECT_EQ(reply.reason, "Bad Request");
    EXPECT_EQ(reply.headers.at("content-type"), "text/xml; charset=utf-8");
    EXPECT_EQ(reply.headers.at("transfer-encoding"), "chunked");
    EXPECT_TRUE(reply.has_header("connection"));
    EXPECT_EQ(reply.body, create_fault(code, text));
}

void expect_bad_request(const Reply& reply) {
    EXPECT_EQ(reply.status, 400);
    EXPECT_EQ(reply.reason, "Bad Request");
    EXPECT_FALSE(reply.has_header("content-type"));
    EXPECT_EQ(reply.body, "Bad request");
}

}  // namespace kx::information_model::opc::testing
