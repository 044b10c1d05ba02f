#include "client/envelope.h"

#include "client/errors.h"
#include "client/namespaces.h"

namespace xmlda {
namespace {

std::optional<XmlElement> find_body(const XmlElement& envelope) {
    return envelope.get_name() == "Envelope" ? envelope.find_child("Body") : std::nullopt;
}

Fault create_fault(const XmlElement& fault) {
    const auto code = fault.find_child("faultcode");
    return {code ? code->resolve(code->get_text()).name : "", fault.get_child_text("faultstring")};
}

/// SOAP 1.2 has the code that says most in the innermost "Subcode", and a text for each language.
Fault create_new_fault(const XmlElement& fault, XmlElement code) {
    while (const auto subcode = code.find_child("Subcode")) {
        code = *subcode;
    }
    const auto value = code.find_child("Value");
    const auto reason = fault.find_child("Reason");
    return {value ? value->resolve(value->get_text()).name : "",
            reason ? reason->get_child_text("Text") : ""};
}

}  // namespace

std::string wrap(const std::string& request) {
    return std::string("<?xml version=\"1.0\" encoding=\"utf-8\"?><soap:Envelope xmlns:soap=\"") +
           namespaces::SOAP + "\" xmlns:xsd=\"" + namespaces::XSD + "\" xmlns:xsi=\"" + namespaces::XSI +
           "\" xmlns=\"" + namespaces::XMLDA + "\"><soap:Body>" + request + "</soap:Body></soap:Envelope>";
}

XmlDocument parse_envelope(std::string_view bytes) {
    try {
        return XmlDocument(bytes);
    } catch (const UnexpectedMessage& error) {
        throw UnexpectedMessage("the reply is " + std::string(error.what()));
    }
}

XmlElement unwrap(const XmlDocument& envelope, const std::string& name) {
    const auto body = find_body(envelope.get_root());
    if (!body) {
        throw UnexpectedMessage("the reply is not a SOAP envelope with a body");
    }
    if (const auto fault = body->find_child("Fault")) {
        const auto code = fault->find_child("Code");
        throw code ? create_new_fault(*fault, *code) : create_fault(*fault);
    }
    const auto response = body->find_child(name);
    if (!response) {
        const auto children = body->get_children();
        std::string found = "nothing";
        if (!children.empty()) {
            found = std::string("'").append(children.front().get_name()).append("'");
        }
        throw UnexpectedMessage("the reply holds " + found + " instead of '" + name + "'");
    }
    return *response;
}

}  // namespace xmlda
