#pragma once

#include "xml/XmlName.h"

#include <string>

/// The XML vocabulary, said once.
namespace kx::information_model::opc {

/// Namespace URIs, and the prefixes that this library uses for them.
namespace xml_namespaces {
inline const std::string SOAP = "http://schemas.xmlsoap.org/soap/envelope/";  ///< SOAP 1.1 envelope
inline const std::string XMLDA = "http://opcfoundation.org/webservices/XMLDA/1.0/";
inline const std::string XSD = "http://www.w3.org/2001/XMLSchema";
inline const std::string XSI = "http://www.w3.org/2001/XMLSchema-instance";
inline const std::string TELVIX = "urn:telvix:information-model:1.0";  ///< vendor extension properties

inline const std::string SOAP_PREFIX = "soap";
inline const std::string XMLDA_PREFIX = "xmlda";
inline const std::string XSI_PREFIX = "xsi";
}  // namespace xml_namespaces

/// Names looked up in requests. They go by the namespace, whatever prefix the client writes; an attribute
/// with one is also found without a namespace, see `find_attribute_text`.
namespace request_names {
inline XmlName in_soap(const std::string& local_name) {
    return {xml_namespaces::SOAP, local_name, xml_namespaces::SOAP_PREFIX + ":" + local_name};
}
inline XmlName in_xmlda(const std::string& local_name) {
    return {xml_namespaces::XMLDA, local_name, xml_namespaces::XMLDA_PREFIX + ":" + local_name};
}
/// The name of an attribute that is read without a namespace alone.
inline XmlName in_none(const std::string& local_name) {
    return {{}, local_name, local_name};
}

inline const XmlName ENVELOPE = in_soap("Envelope");
inline const XmlName BODY = in_soap("Body");

inline const XmlName GET_STATUS = in_xmlda("GetStatus");
inline const XmlName BROWSE = in_xmlda("Browse");
inline const XmlName GET_PROPERTIES = in_xmlda("GetProperties");
inline const XmlName READ = in_xmlda("Read");
inline const XmlName WRITE = in_xmlda("Write");
inline const XmlName SUBSCRIBE = in_xmlda("Subscribe");
inline const XmlName SUBSCRIPTION_POLLED_REFRESH = in_xmlda("SubscriptionPolledRefresh");
inline const XmlName SUBSCRIPTION_CANCEL = in_xmlda("SubscriptionCancel");

inline const XmlName OPTIONS = in_xmlda("Options");
inline const XmlName ITEM_LIST = in_xmlda("ItemList");
inline const XmlName ITEMS = in_xmlda("Items");
inline const XmlName ITEM_IDS = in_xmlda("ItemIDs");
inline const XmlName PROPERTY_NAMES = in_xmlda("PropertyNames");
inline const XmlName SERVER_SUB_HANDLES = in_xmlda("ServerSubHandles");
inline const XmlName VALUE = in_xmlda("Value");

inline const XmlName BROWSE_FILTER = in_xmlda("BrowseFilter");
inline const XmlName CLIENT_ITEM_HANDLE = in_xmlda("ClientItemHandle");
inline const XmlName CLIENT_REQUEST_HANDLE = in_xmlda("ClientRequestHandle");
inline const XmlName DEADBAND = in_xmlda("Deadband");
inline const XmlName ENABLE_BUFFERING = in_xmlda("EnableBuffering");
inline const XmlName HOLD_TIME = in_xmlda("HoldTime");
inline const XmlName ITEM_NAME = in_none("ItemName");
inline const XmlName ITEM_PATH = in_none("ItemPath");
inline const XmlName LOCALE_ID = in_xmlda("LocaleID");
inline const XmlName REQUESTED_SAMPLING_RATE = in_xmlda("RequestedSamplingRate");
inline const XmlName RETURN_ALL_ITEMS = in_xmlda("ReturnAllItems");
inline const XmlName RETURN_ALL_PROPERTIES = in_xmlda("ReturnAllProperties");
inline const XmlName RETURN_DIAGNOSTIC_INFO = in_xmlda("ReturnDiagnosticInfo");
inline const XmlName RETURN_ERROR_TEXT = in_xmlda("ReturnErrorText");
inline const XmlName RETURN_ITEM_PATH = in_xmlda("ReturnItemPath");
inline const XmlName RETURN_ITEM_TIME = in_xmlda("ReturnItemTime");
inline const XmlName RETURN_PROPERTY_VALUES = in_xmlda("ReturnPropertyValues");
inline const XmlName RETURN_VALUES_ON_REPLY = in_xmlda("ReturnValuesOnReply");
inline const XmlName SERVER_SUB_HANDLE = in_xmlda("ServerSubHandle");
inline const XmlName SUBSCRIPTION_PING_RATE = in_xmlda("SubscriptionPingRate");
inline const XmlName WAIT_TIME = in_xmlda("WaitTime");
}  // namespace request_names

/// Names written into replies: unprefixed ones lie in the reply's default namespace, that of OPC XML-DA.
namespace reply_names {
inline const std::string ENVELOPE = "soap:Envelope";
inline const std::string BODY = "soap:Body";
inline const std::string FAULT = "soap:Fault";
inline const std::string FAULT_CODE = "faultcode";
inline const std::string FAULT_STRING = "faultstring";

inline const std::string GET_STATUS_RESPONSE = "GetStatusResponse";
inline const std::string GET_STATUS_RESULT = "GetStatusResult";
inline const std::string BROWSE_RESPONSE = "BrowseResponse";
inline const std::string BROWSE_RESULT = "BrowseResult";
inline const std::string GET_PROPERTIES_RESPONSE = "GetPropertiesResponse";
inline const std::string GET_PROPERTIES_RESULT = "GetPropertiesResult";
inline const std::string READ_RESPONSE = "ReadResponse";
inline const std::string READ_RESULT = "ReadResult";
inline const std::string WRITE_RESPONSE = "WriteResponse";
inline const std::string WRITE_RESULT = "WriteResult";
inline const std::string SUBSCRIBE_RESPONSE = "SubscribeResponse";
inline const std::string SUBSCRIBE_RESULT = "SubscribeResult";
inline const std::string SUBSCRIPTION_POLLED_REFRESH_RESPONSE = "SubscriptionPolledRefreshResponse";
inline const std::string SUBSCRIPTION_POLLED_REFRESH_RESULT = "SubscriptionPolledRefreshResult";
inline const std::string SUBSCRIPTION_CANCEL_RESPONSE = "SubscriptionCancelResponse";

inline const std::string ELEMENTS = "Elements";
inline const std::string INVALID_SERVER_SUB_HANDLES = "InvalidServerSubHandles";
inline const std::string ITEMS = "Items";
inline const std::string ITEM_VALUE = "ItemValue";
inline const std::string PROPERTIES = "Properties";
inline const std::string PROPERTY_LISTS = "PropertyLists";
inline const std::string R_ITEM_LIST = "RItemList";
inline const std::string STATUS = "Status";
inline const std::string SUPPORTED_INTERFACE_VERSIONS = "SupportedInterfaceVersions";
inline const std::string SUPPORTED_LOCALE_IDS = "SupportedLocaleIDs";
inline const std::string VALUE = "Value";
inline const std::string VENDOR_INFO = "VendorInfo";

inline const std::string CLIENT_ITEM_HANDLE = "ClientItemHandle";
inline const std::string CLIENT_REQUEST_HANDLE = "ClientRequestHandle";
inline const std::string DESCRIPTION = "Description";
inline const std::string HAS_CHILDREN = "HasChildren";
inline const std::string IS_ITEM = "IsItem";
inline const std::string ITEM_NAME = "ItemName";
inline const std::string NAME = "Name";
inline const std::string PRODUCT_VERSION = "ProductVersion";
inline const std::string RCV_TIME = "RcvTime";
inline const std::string REPLY_TIME = "ReplyTime";
inline const std::string REVISED_LOCALE_ID = "RevisedLocaleID";
inline const std::string SERVER_STATE = "ServerState";
inline const std::string SERVER_SUB_HANDLE = "ServerSubHandle";
inline const std::string START_TIME = "StartTime";
inline const std::string TIMESTAMP = "Timestamp";
inline const std::string XSI_TYPE = "xsi:type";
}  // namespace reply_names

}  // namespace kx::information_model::opc
