#pragma once

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

/// Names looked up in requests. The prefix stands for the namespace, whatever prefix the client writes; an
/// attribute with one is also found without a namespace, see `AMessage::get_attribute`.
namespace request_names {
inline const std::string ENVELOPE = "soap:Envelope";
inline const std::string BODY = "soap:Body";

inline const std::string GET_STATUS = "xmlda:GetStatus";
inline const std::string BROWSE = "xmlda:Browse";
inline const std::string GET_PROPERTIES = "xmlda:GetProperties";
inline const std::string READ = "xmlda:Read";
inline const std::string WRITE = "xmlda:Write";
inline const std::string SUBSCRIBE = "xmlda:Subscribe";
inline const std::string SUBSCRIPTION_POLLED_REFRESH = "xmlda:SubscriptionPolledRefresh";
inline const std::string SUBSCRIPTION_CANCEL = "xmlda:SubscriptionCancel";

inline const std::string OPTIONS = "xmlda:Options";
inline const std::string ITEM_LIST = "xmlda:ItemList";
inline const std::string ITEMS = "xmlda:Items";
inline const std::string ITEM_IDS = "xmlda:ItemIDs";
inline const std::string PROPERTY_NAMES = "xmlda:PropertyNames";
inline const std::string SERVER_SUB_HANDLES = "xmlda:ServerSubHandles";
inline const std::string VALUE = "xmlda:Value";

inline const std::string BROWSE_FILTER = "xmlda:BrowseFilter";
inline const std::string CLIENT_ITEM_HANDLE = "xmlda:ClientItemHandle";
inline const std::string CLIENT_REQUEST_HANDLE = "xmlda:ClientRequestHandle";
inline const std::string DEADBAND = "xmlda:Deadband";
inline const std::string ENABLE_BUFFERING = "xmlda:EnableBuffering";
inline const std::string HOLD_TIME = "xmlda:HoldTime";
inline const std::string LOCALE_ID = "xmlda:LocaleID";
inline const std::string REQUESTED_SAMPLING_RATE = "xmlda:RequestedSamplingRate";
inline const std::string RETURN_ALL_ITEMS = "xmlda:ReturnAllItems";
inline const std::string RETURN_ALL_PROPERTIES = "xmlda:ReturnAllProperties";
inline const std::string RETURN_DIAGNOSTIC_INFO = "xmlda:ReturnDiagnosticInfo";
inline const std::string RETURN_ERROR_TEXT = "xmlda:ReturnErrorText";
inline const std::string RETURN_ITEM_PATH = "xmlda:ReturnItemPath";
inline const std::string RETURN_ITEM_TIME = "xmlda:ReturnItemTime";
inline const std::string RETURN_PROPERTY_VALUES = "xmlda:ReturnPropertyValues";
inline const std::string RETURN_VALUES_ON_REPLY = "xmlda:ReturnValuesOnReply";
inline const std::string SERVER_SUB_HANDLE = "xmlda:ServerSubHandle";
inline const std::string SUBSCRIPTION_PING_RATE = "xmlda:SubscriptionPingRate";
inline const std::string WAIT_TIME = "xmlda:WaitTime";
}  // namespace request_names

/// Names written into replies: unprefixed ones lie in the reply's default namespace, that of OPC XML-DA.
/// "ItemName" and "ItemPath" are also the names of the request attributes that have no namespace.
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
inline const std::string ITEM_PATH = "ItemPath";
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
