#include "xml/xml_names.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

namespace kx::information_model::opc {
namespace {

TEST(XmlNames, NamespacesAreThoseOfTheStandards) {
    EXPECT_EQ(xml_namespaces::SOAP, "http://schemas.xmlsoap.org/soap/envelope/");
    EXPECT_EQ(xml_namespaces::XMLDA, "http://opcfoundation.org/webservices/XMLDA/1.0/");
    EXPECT_EQ(xml_namespaces::XSD, "http://www.w3.org/2001/XMLSchema");
    EXPECT_EQ(xml_namespaces::XSI, "http://www.w3.org/2001/XMLSchema-instance");
    EXPECT_EQ(xml_namespaces::TELVIX, "urn:telvix:information-model:1.0");
}

TEST(XmlNames, RequestNamesAreQualified) {
    using namespace request_names;
    EXPECT_EQ(ENVELOPE.qualified_name, "soap:Envelope");
    EXPECT_EQ(ENVELOPE.uri, xml_namespaces::SOAP);
    EXPECT_EQ(BODY.qualified_name, "soap:Body");
    EXPECT_EQ(BODY.uri, xml_namespaces::SOAP);
    const std::vector<XmlName> known = {GET_STATUS,
                                        BROWSE,
                                        GET_PROPERTIES,
                                        READ,
                                        WRITE,
                                        SUBSCRIBE,
                                        SUBSCRIPTION_POLLED_REFRESH,
                                        SUBSCRIPTION_CANCEL,
                                        OPTIONS,
                                        ITEM_LIST,
                                        ITEMS,
                                        ITEM_IDS,
                                        PROPERTY_NAMES,
                                        SERVER_SUB_HANDLES,
                                        VALUE,
                                        BROWSE_FILTER,
                                        CLIENT_ITEM_HANDLE,
                                        CLIENT_REQUEST_HANDLE,
                                        DEADBAND,
                                        ENABLE_BUFFERING,
                                        HOLD_TIME,
                                        LOCALE_ID,
                                        REQUESTED_SAMPLING_RATE,
                                        RETURN_ALL_ITEMS,
                                        RETURN_ALL_PROPERTIES,
                                        RETURN_DIAGNOSTIC_INFO,
                                        RETURN_ERROR_TEXT,
                                        RETURN_ITEM_PATH,
                                        RETURN_ITEM_TIME,
                                        RETURN_PROPERTY_VALUES,
                                        RETURN_VALUES_ON_REPLY,
                                        SERVER_SUB_HANDLE,
                                        SUBSCRIPTION_PING_RATE,
                                        WAIT_TIME};
    std::set<std::string> names;
    for (const XmlName& name : known) {
        EXPECT_EQ(name.uri, xml_namespaces::XMLDA) << name.qualified_name;
        EXPECT_EQ(name.qualified_name, "xmlda:" + name.local_name);
        names.insert(name.qualified_name);
    }
    const std::set<std::string> expected = {"xmlda:GetStatus",
                                            "xmlda:Browse",
                                            "xmlda:GetProperties",
                                            "xmlda:Read",
                                            "xmlda:Write",
                                            "xmlda:Subscribe",
                                            "xmlda:SubscriptionPolledRefresh",
                                            "xmlda:SubscriptionCancel",
                                            "xmlda:Options",
                                            "xmlda:ItemList",
                                            "xmlda:Items",
                                            "xmlda:ItemIDs",
                                            "xmlda:PropertyNames",
                                            "xmlda:ServerSubHandles",
                                            "xmlda:Value",
                                            "xmlda:BrowseFilter",
                                            "xmlda:ClientItemHandle",
                                            "xmlda:ClientRequestHandle",
                                            "xmlda:Deadband",
                                            "xmlda:EnableBuffering",
                                            "xmlda:HoldTime",
                                            "xmlda:LocaleID",
                                            "xmlda:RequestedSamplingRate",
                                            "xmlda:ReturnAllItems",
                                            "xmlda:ReturnAllProperties",
                                            "xmlda:ReturnDiagnosticInfo",
                                            "xmlda:ReturnErrorText",
                                            "xmlda:ReturnItemPath",
                                            "xmlda:ReturnItemTime",
                                            "xmlda:ReturnPropertyValues",
                                            "xmlda:ReturnValuesOnReply",
                                            "xmlda:ServerSubHandle",
                                            "xmlda:SubscriptionPingRate",
                                            "xmlda:WaitTime"};
    EXPECT_EQ(names, expected);
}

// The schema gives these attributes no namespace; with one they would be others.
TEST(XmlNames, NamesOfItemsHaveNoNamespace) {
    for (const XmlName& name : {request_names::ITEM_NAME, request_names::ITEM_PATH}) {
        EXPECT_EQ(name.uri, "");
        EXPECT_EQ(name.qualified_name, name.local_name);
    }
    EXPECT_EQ(request_names::ITEM_NAME.local_name, "ItemName");
    EXPECT_EQ(request_names::ITEM_PATH.local_name, "ItemPath");
}

TEST(XmlNames, ReplyNamesAreUnqualified) {
    using namespace reply_names;
    const std::set<std::string> names = {BROWSE_RESPONSE,
                                         BROWSE_RESULT,
                                         GET_PROPERTIES_RESPONSE,
                                         GET_PROPERTIES_RESULT,
                                         ELEMENTS,
                                         PROPERTIES,
                                         PROPERTY_LISTS,
                                         VALUE,
                                         READ_RESPONSE,
                                         READ_RESULT,
                                         R_ITEM_LIST,
                                         ITEMS,
                                         ITEM_VALUE,
                                         SUBSCRIBE_RESPONSE,
                                         SUBSCRIBE_RESULT,
                                         SUBSCRIPTION_CANCEL_RESPONSE,
                                         SUBSCRIPTION_POLLED_REFRESH_RESPONSE,
                                         INVALID_SERVER_SUB_HANDLES,
                                         SUBSCRIPTION_POLLED_REFRESH_RESULT,
                                         WRITE_RESPONSE,
                                         WRITE_RESULT,
                                         NAME,
                                         ITEM_NAME,
                                         IS_ITEM,
                                         HAS_CHILDREN,
                                         DESCRIPTION,
                                         CLIENT_REQUEST_HANDLE,
                                         CLIENT_ITEM_HANDLE,
                                         SERVER_SUB_HANDLE,
                                         TIMESTAMP,
                                         XSI_TYPE,
                                         RCV_TIME,
                                         REPLY_TIME,
                                         REVISED_LOCALE_ID,
                                         SERVER_STATE,
                                         GET_STATUS_RESPONSE,
                                         GET_STATUS_RESULT,
                                         STATUS,
                                         START_TIME,
                                         PRODUCT_VERSION,
                                         VENDOR_INFO,
                                         SUPPORTED_LOCALE_IDS,
                                         SUPPORTED_INTERFACE_VERSIONS};
    const std::set<std::string> expected = {"BrowseResponse",
                                            "BrowseResult",
                                            "GetPropertiesResponse",
                                            "GetPropertiesResult",
                                            "Elements",
                                            "Properties",
                                            "PropertyLists",
                                            "Value",
                                            "ReadResponse",
                                            "ReadResult",
                                            "RItemList",
                                            "Items",
                                            "ItemValue",
                                            "SubscribeResponse",
                                            "SubscribeResult",
                                            "SubscriptionCancelResponse",
                                            "SubscriptionPolledRefreshResponse",
                                            "InvalidServerSubHandles",
                                            "SubscriptionPolledRefreshResult",
                                            "WriteResponse",
                                            "WriteResult",
                                            "Name",
                                            "ItemName",

                                            "IsItem",
                                            "HasChildren",
                                            "Description",
                                            "ClientRequestHandle",
                                            "ClientItemHandle",
                                            "ServerSubHandle",
                                            "Timestamp",
                                            "xsi:type",
                                            "RcvTime",
                                            "ReplyTime",
                                            "RevisedLocaleID",
                                            "ServerState",
                                            "GetStatusResponse",
                                            "GetStatusResult",
                                            "Status",
                                            "StartTime",
                                            "ProductVersion",
                                            "VendorInfo",
                                            "SupportedLocaleIDs",
                                            "SupportedInterfaceVersions"};
    EXPECT_EQ(names, expected);
}

TEST(XmlNames, FaultNamesAreThoseOfSoap) {
    EXPECT_EQ(reply_names::ENVELOPE, "soap:Envelope");
    EXPECT_EQ(reply_names::BODY, "soap:Body");
    EXPECT_EQ(reply_names::FAULT, "soap:Fault");
    EXPECT_EQ(reply_names::FAULT_CODE, "faultcode");
    EXPECT_EQ(reply_names::FAULT_STRING, "faultstring");
}

}  // namespace
}  // namespace kx::information_model::opc
