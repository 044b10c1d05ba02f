#include "server/message/Error.h"

#include "xml/reply/reply_dom.h"

#include <Poco/DOM/Element.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace kx::information_model::opc {
namespace {

struct ErrorRow {
    const Error* error;
    std::string code;
    std::string text;
};

const std::vector<ErrorRow> ROWS = {
    {&Error::S_CLAMP, "S_CLAMP", "The value written was accepted but the output was clamped"},
    {&Error::S_DATAQUEUEOVERFLOW, "S_DATAQUEUEOVERFLOW",
     "Not every detected change has been returned since the server's buffer reached its limit and had to "
     "purge out "
     "the oldest data."},
    {&Error::S_UNSUPPORTEDRATE, "S_UNSUPPORTEDRATE",
     "The server does not support the requested rate but will use the closest available rate."},
    {&Error::E_ACCESS_DENIED, "E_ACCESS_DENIED",
     "The server denies access (read and/or write) to the specified item. This error is typically caused by "
     "Web "
     "Service security (e.g. globally disabled write capabilities)."},
    {&Error::E_BUSY, "E_BUSY",
     "The server is currently processing another polled refresh for one or more subscriptions."},
    {&Error::E_FAIL, "E_FAIL", "Unspecified Error"},
    {&Error::E_INVALIDCONTINUATIONPOINT, "E_INVALIDCONTINUATIONPOINT",
     "The continuation point is not valid."},
    {&Error::E_INVALIDFILTER, "E_INVALIDFILTER", "The filter string is not valid."},
    {&Error::E_INVALIDHOLDTIME, "E_INVALIDHOLDTIME", "The hold time is too long (determined by server)."},
    {&Error::E_INVALIDITEMNAME, "E_INVALIDITEMNAME", "The item name does not conform the server's syntax."},
    {&Error::E_INVALIDITEMPATH, "E_INVALIDITEMPATH", "The item path does not conform the server's syntax."},
    {&Error::E_INVALIDPID, "E_INVALIDPID", "The property id is not valid for the item."},
    {&Error::E_NOSUBSCRIPTION, "E_NOSUBSCRIPTION",
     "An invalid subscription handle was passed to the request."},
    {&Error::E_NOTSUPPORTED, "E_NOTSUPPORTED",
     "The server does not support writing to the quality and/or timestamp."},
    {&Error::E_OUTOFMEMORY, "E_OUTOFMEMORY", "Ran out of memory."},
    {&Error::E_RANGE, "E_RANGE", "The value was out of range."},
    {&Error::E_BADTYPE, "E_BADTYPE", "The passed data type cannot be accepted for this item."},
    {&Error::E_READONLY, "E_READONLY", "The value is read only and may not be written to."},
    {&Error::E_SERVERSTATE, "E_SERVERSTATE",
     "The operation could not complete due to an abnormal server state"},
    {&Error::E_TIMEDOUT, "E_TIMEDOUT", "The operation took to long to complete (determined by server)"},
    {&Error::E_UNKNOWNITEMNAME, "E_UNKNOWNITEMNAME",
     "The item name is no longer available in the server address space."},
    {&Error::E_UNKNOWNITEMPATH, "E_UNKNOWNITEMPATH",
     "The item path is no longer available in the server address space."},
    {&Error::E_WRITEONLY, "E_WRITEONLY",
     "The value is write-only and may not be read from or returned as part of a write response."},
    {&Error::E_SOAP, "soap:Server", "Server was unable to process request."},
};

class ErrorTable : public ::testing::TestWithParam<ErrorRow> {};

TEST_P(ErrorTable, HasItsCodeAndText) {
    EXPECT_EQ(GetParam().error->get_error_code(), GetParam().code);
    EXPECT_EQ(GetParam().error->get_error_text(), GetParam().text);
}

TEST_P(ErrorTable, WhatIsTheCode) {
    const std::exception& exception = *GetParam().error;
    EXPECT_EQ(exception.what(), GetParam().code);
}

TEST_P(ErrorTable, IsThrownAsACopy) {
    try {
        throw Error(*GetParam().error);
    } catch (const std::exception& caught) {
        EXPECT_NE(&caught, GetParam().error);
        EXPECT_EQ(dynamic_cast<const Error&>(caught).get_error_code(), GetParam().code);
        EXPECT_EQ(dynamic_cast<const Error&>(caught).get_error_text(), GetParam().text);
    }
}

TEST_P(ErrorTable, BecomesAFault) {
    EXPECT_EQ(get_reply_text(generate_fault(*GetParam().error)).to_string(),
              R"(<?xml version="1.0" encoding="utf-8"?>)"
              R"(<soap:Envelope xmlns="http://opcfoundation.org/webservices/XMLDA/1.0/")"
              R"( xmlns:soap="http://schemas.xmlsoap.org/soap/envelope/")"
              R"( xmlns:telvix="urn:telvix:information-model:1.0")"
              R"( xmlns:xsd="http://www.w3.org/2001/XMLSchema")"
              R"( xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance"><soap:Body><soap:Fault><faultcode>)" +
                  GetParam().code + "</faultcode><faultstring>" + GetParam().text +
                  "</faultstring></soap:Fault></soap:Body></soap:Envelope>");
}

std::string get_row_name(const ::testing::TestParamInfo<ErrorRow>& info) {
    std::string name;
    for (const char letter : info.param.code) {
        if (letter != '_' && letter != ':') {
            name += letter;
        }
    }
    return name;
}

INSTANTIATE_TEST_SUITE_P(AllMembers, ErrorTable, ::testing::ValuesIn(ROWS), get_row_name);

TEST(GenerateFault, MakesANewDocumentEachTime) {
    EXPECT_NE(generate_fault(Error::E_FAIL).get(), generate_fault(Error::E_FAIL).get());
}

}  // namespace
}  // namespace kx::information_model::opc
