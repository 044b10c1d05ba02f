#include "server/message/RequestOptions.h"

#include "xml/ParsedRequest.h"

#include <Poco/Exception.h>

#include <gtest/gtest.h>

namespace kx::information_model::opc {
namespace {

using testing::create_element_text;
using testing::ParsedRequest;

class NoService : public AMessage {
public:
    using AMessage::AMessage;

protected:
    Poco::AutoPtr<Poco::XML::Element> process() override { return {}; }
};

RequestOptions read(const std::string& children) {
    const ParsedRequest request(create_element_text("Read", "ReturnItemTime='false'", children));
    const NoService message(nullptr, request.get_root(), request.get_namespaces());
    return read_options(message, *request.get_root());
}

void expect_flags(const RequestOptions& options, bool error_text, bool diagnostic_info, bool item_time,
                  bool item_path) {
    EXPECT_EQ(options.return_error_text, error_text);
    EXPECT_EQ(options.return_diagnostic_info, diagnostic_info);
    EXPECT_EQ(options.return_item_time, item_time);
    EXPECT_EQ(options.return_item_path, item_path);
}

TEST(RequestOptions, AreTheStartValuesWithoutTheElement) {
    for (const std::string children : {"", "<x:Options/>", "<ItemList><Options/></ItemList>", "text"}) {
        expect_flags(read(children), true, false, false, false);
        EXPECT_EQ(read(children).client_request_handle, std::nullopt);
    }
}

TEST(RequestOptions, AreAllOnInAnEmptyElement) {
    expect_flags(read("<Options/>"), true, true, true, true);
    expect_flags(read("<da:Options/>"), true, true, true, true);
    EXPECT_EQ(read("<Options/>").client_request_handle, std::nullopt);
}

TEST(RequestOptions, AreOnWhereAnAttributeIsMissing) {
    expect_flags(read("<Options ReturnErrorText='0'/>"), false, true, true, true);
    expect_flags(read("<Options ReturnDiagnosticInfo='false'/>"), true, false, true, true);
    expect_flags(read("<Options ReturnItemTime='no'/>"), true, true, false, true);
    expect_flags(read("<Options da:ReturnItemPath='off'/>"), true, true, true, false);
}

TEST(RequestOptions, AreWhatTheAttributesSay) {
    expect_flags(read("<Options ReturnErrorText='false' ReturnDiagnosticInfo='false' ReturnItemTime='false'"
                      " ReturnItemPath='false'/>"),
                 false, false, false, false);
    expect_flags(read("<Options ReturnErrorText='1' ReturnDiagnosticInfo='TRUE' ReturnItemTime='yes'"
                      " ReturnItemPath='On'/>"),
                 true, true, true, true);
}

TEST(RequestOptions, AreThoseOfTheFirstElement) {
    expect_flags(read("<!--c--><Options ReturnItemTime='false'/><Options ReturnErrorText='false'/>"), true,
                 true, false, true);
}

TEST(RequestOptions, HoldTheHandle) {
    EXPECT_EQ(read("<Options ClientRequestHandle='h'/>").client_request_handle, "h");
    EXPECT_EQ(read("<Options da:ClientRequestHandle='q' ClientRequestHandle='h'/>").client_request_handle,
              "q");
    EXPECT_EQ(read("<Options ClientRequestHandle=''/>").client_request_handle, "");
}

TEST(RequestOptions, RefuseWhatIsNoBool) {
    for (const std::string name :
         {"ReturnErrorText", "ReturnDiagnosticInfo", "ReturnItemTime", "ReturnItemPath"}) {
        EXPECT_THROW(read("<Options " + name + "='maybe'/>"), Poco::SyntaxException) << name;
    }
}

}  // namespace
}  // namespace kx::information_model::opc
