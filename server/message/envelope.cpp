#include "server/message/envelope.h"

#include "xml/reply/reply_dom.h"
#include "xml/xml_names.h"

namespace kx::information_model::opc {

void create_envelope(Poco::XML::Document& document, Poco::AutoPtr<Poco::XML::Element> content) {
    auto body = create_element(document, reply_names::BODY);
    body->appendChild(content);
    auto envelope = create_element(document, reply_names::ENVELOPE);
    set_attribute(*envelope, "xmlns:soap", xml_namespaces::SOAP);
    set_attribute(*envelope, "xmlns:xsd", xml_namespaces::XSD);
    set_attribute(*envelope, "xmlns:xsi", xml_namespaces::XSI);
    set_attribute(*envelope, "xmlns:telvix", xml_namespaces::TELVIX);
    set_attribute(*envelope, "xmlns", xml_namespaces::XMLDA);
    envelope->appendChild(body);
    document.appendChild(envelope);
}

}  // namespace kx::information_model::opc
