#pragma once

#include "xml/XmlName.h"

#include <information_model/InformationModel.h>
#include <information_model/OnScopeExit.h>
#include <information_model/TimePoint.h>
#include <information_model/Value.h>

#include <Poco/DOM/AutoPtr.h>
#include <Poco/DOM/Document.h>
#include <Poco/DOM/Element.h>
#include <Poco/DOM/Node.h>
#include <Poco/SAX/NamespaceSupport.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>

namespace kx::information_model::opc {

/// Base of the service messages. One object serves one request and is then destroyed: the dispatcher makes
/// it from the request element, which it parses in its constructor, so that a malformed request fails before
/// any lock is taken; calls `generate()` once; and sends the document that it returns.
///
/// Used by one thread only. Owns the reply's document until `generate()` hands out a reference.
class AMessage {
public:
    /// Stamps the receive time. Reads nothing from the request.
    /// @param model       the tree to work on, not null
    /// @param request     the request element; may be gone once the message is constructed
    /// @param namespaces  declares "soap", "xmlda" and "xsi"; must outlive the message
    AMessage(std::shared_ptr<InformationModel> model, const Poco::XML::Node* request,
             const Poco::XML::NamespaceSupport& namespaces);
    AMessage(const AMessage&) = delete;
    AMessage& operator=(const AMessage&) = delete;
    virtual ~AMessage();

    /// Runs the service and returns the reply: the SOAP envelope around what `process()` returns.
    /// @throws Error  what the service throws, to be answered with a fault; anything else it throws is
    ///                answered "Bad request"
    Poco::AutoPtr<Poco::XML::Document> generate();

    /// Writes the attributes that all services' result elements have, in this order: "ClientRequestHandle" if
    /// there is one, "RevisedLocaleID" (always "en-US"), "RcvTime", "ReplyTime" (now) and "ServerState"
    /// (always "running").
    /// @throws Poco::NullPointerException  if `result` is null
    void set_result(Poco::AutoPtr<Poco::XML::Element> result,
                    const std::optional<std::string>& client_request_handle);

    /// Finds an attribute of `node` as `find_attribute` does. Borrowed, null if there is none.
    const Poco::XML::Node* get_attribute(const Poco::XML::Node* node, const std::string& name) const;

    /// Reads an attribute of `node`.
    ///
    /// T is bool ("1", "true", "yes", "on" and their opposites in any case, or a number, 0 meaning false),
    /// int (decimal, "," groups thousands), float ("." decimal point, "," groups thousands), TimePoint
    /// (`xsd:dateTime`) or std::string (the text as it stands).
    /// @param default_value  what an absent attribute means
    /// @throws std::logic_error       "Attribute not found." if it is absent and there is no default
    /// @throws Poco::SyntaxException  if the text is not a bool, int or float
    /// @throws std::invalid_argument  if the text is not a date-time
    template <class T>
    T get_attribute(const Poco::XML::Node* node, const std::string& name,
                    const std::optional<T>& default_value) const;
    /// The same for a name that need not be split, one of `request_names`.
    template <class T>
    T get_attribute(const Poco::XML::Node* node, const XmlName& name,
                    const std::optional<T>& default_value) const;

    /// The text of an attribute that may be absent.
    std::optional<std::string> get_optional_attribute(const Poco::XML::Node* node, const XmlName& name) const;

    /// Creates the "Value" element that carries `value` in a reply: its text for a scalar, an element for
    /// each member of an array, and its type in "xsi:type". Texts are those of `convert` in
    /// codec/value_writer.h.
    ///
    /// Requires: tree lock held, if the value is in the tree.
    /// @return the new element, owned by the reply's document, not yet attached
    /// @throws std::invalid_argument  if the type is DECIMAL, ATTACHMENT or unknown
    /// @throws BadValueTypeException  if the content is not of the type that the descriptor names
    /// @throws Poco::NullPointerException  if there is no reply document
    Poco::AutoPtr<Poco::XML::Element> create_value(const Value& value) const;

protected:
    /// Does the service's work and returns its response element, made in the reply's document. Takes the tree
    /// lock that it needs itself and releases it on every way out.
    ///
    /// The order of its locals matters, since they are destroyed in the reverse one: the response; what
    /// appends the result to it on the way out, so that this is done last and without the lock; the
    /// diagnostics, which are written without the lock; what may free much memory; the lock.
    virtual Poco::AutoPtr<Poco::XML::Element> process() = 0;

    /// For constructors: `process()` works with what they read.
    const Poco::XML::Node* get_request() const noexcept { return request_; }
    const Poco::XML::NamespaceSupport& get_namespaces() const noexcept { return *namespaces_; }
    InformationModel& get_model() const noexcept { return *model_; }

    /// @throws Poco::NullPointerException  if there is no reply document
    Poco::XML::Document& get_document() const;

    /// Appends the service's result element to its response when what it returns is destroyed, on every way
    /// out of `process()`.
    /// @param name                   of the result element; lives as long as what is returned
    /// @param client_request_handle  for `set_result`; lives as long as well
    [[nodiscard]] utility::OnScopeExit append_result_on_exit(
        Poco::AutoPtr<Poco::XML::Element> response, const std::string& name,
        const std::optional<std::string>& client_request_handle);

private:
    void append_result(Poco::XML::Element& response, const std::string& name,
                       const std::optional<std::string>& client_request_handle);

    const Poco::XML::Node* request_;
    const Poco::XML::NamespaceSupport* namespaces_;
    Poco::AutoPtr<Poco::XML::Document> document_;
    std::shared_ptr<InformationModel> model_;
    std::chrono::system_clock::time_point receive_time_;
};

}  // namespace kx::information_model::opc
