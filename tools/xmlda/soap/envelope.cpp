#include "xmlda/soap/envelope.h"

#include "xmlda/Failure.h"
#include "xmlda/soap/namespaces.h"

namespace xmlda {
namespace {

const XmlElement* find_body(const XmlElement& envelope) {
    return envelope.get_name() == "Envelope" ? envelope.find_child("Body") : nullptr;
}

std::string get_child_text(const XmlElement& element, std::string_view name) {
    const XmlElement* const child = element.find_child(name);
    return child == nullptr ? "" : child->get_text();
}

Fault create_fault(const XmlElement& fault) {
    const XmlElement* const code = fault.find_child("faultcode");
    return {code == nullptr ? "a fault without a code" : code->resolve(code->get_text()).name,
            get_child_text(fault, "faultstring")};
}

}  // namespace

std::string wrap(const std::string& request) {
    return std::string("<?xml version=\"1.0\" encoding=\"utf-8\"?><soap:Envelope xmlns:soap=\"") +
           namespaces::SOAP + "\" xmlns:xsd=\"" + namespaces::XSD + "\" xmlns:xsi=\"" + namespaces::XSI +
           "\" xmlns=\"" + namespaces::XMLDA + "\"><soap:Body>" + request + "</soap:Body></soap:Envelope>";
}

const XmlElement& unwrap(const XmlElement& envelope, const std::string& name) {
    const XmlElement* const body = find_body(envelope);
    if (body == nullptr) {
        throw Failure(ExitStatus::UNEXPECTED_CONTENT, "the reply is XML, but no SOAP envelope with a body");
    }
    if (const XmlElement* const fault = body->find_child("Fault")) {
        throw create_fault(*fault);
    }
    const XmlElement* const response = body->find_child(name);
    if (response == nullptr) {
        const std::string found =
            body->get_children().empty() ? "nothing" : "'" + body->get_children().front()->get_name() + "'";
        throw Failure(ExitStatus::UNEXPECTED_CONTENT,
                      "the reply holds " + found + " instead of '" + name + "'");
    }
    return *response;
}

bool holds_fault(const XmlElement& envelope) {
    const XmlElement* const body = find_body(envelope);
    return body != nullptr && body->find_child("Fault") != nullptr;
}

}  // namespace xmlda
