#pragma once

/// The namespaces of the protocol.
namespace xmlda::namespaces {

inline constexpr char SOAP[] = "http://schemas.xmlsoap.org/soap/envelope/";  ///< SOAP 1.1 envelope
inline constexpr char XMLDA[] = "http://opcfoundation.org/webservices/XMLDA/1.0/";
inline constexpr char XSD[] = "http://www.w3.org/2001/XMLSchema";
inline constexpr char XSI[] = "http://www.w3.org/2001/XMLSchema-instance";

}  // namespace xmlda::namespaces
