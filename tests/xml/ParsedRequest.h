#pragma once

#include "xml/request/RequestParser.h"
#include "xml/xml_names.h"

#include <Poco/DOM/AutoPtr.h>
#include <Poco/DOM/Document.h>
#include <Poco/DOM/Element.h>
#include <Poco/SAX/NamespaceSupport.h>

#include <string>

namespace kx::information_model::opc::testing {

/// A request element with the prefix declarations of the dispatcher: what a message is made from.
class ParsedRequest {
public:
    /// @param xml  a document whose root is the request element
    explicit ParsedRequest(const std::string& xml) : document_(parse_request(xml)) {
        namespaces_.declarePrefix("soap", xml_namespaces::SOAP);
        namespaces_.declarePrefix("xmlda", xml_namespaces::XMLDA);
        namespaces_.declarePrefix("xsi", xml_namespaces::XSI);
    }

    const Poco::XML::Document& get_document() const { return *document_; }
    const Poco::XML::Element* get_root() const { return document_->documentElement(); }
    const Poco::XML::NamespaceSupport& get_namespaces() const { return namespaces_; }

private:
    Poco::AutoPtr<Poco::XML::Document> document_;
    Poco::XML::NamespaceSupport namespaces_;
};

/// An element named `name` in the namespace of OPC XML-DA, which is also bound to the prefix "da"; "x" is
/// bound to a foreign one.
inline std::string create_element_text(const std::string& name, const std::string& attributes,
                                       const std::string& content = {}) {
    return "<" + name + " xmlns=\"" + xml_namespaces::XMLDA + "\" xmlns:da=\"" + xml_namespaces::XMLDA +
           "\" xmlns:x=\"urn:foreign\" " + attributes + ">" + content + "</" + name + ">";
}

}  // namespace kx::information_model::opc::testing
