#include "xml/reply/reply_dom.h"

#include "xml/ThreadCache.h"
#include "xml/reply/ReplyElement.h"

#include <Poco/Exception.h>

#include <typeinfo>

namespace kx::information_model::opc {

namespace {

// Each is the only class that it can be, so that comparing its identity is enough.
template <class Reply, class Node>
Reply& as_reply(Node& node) {
    if (typeid(node) != typeid(Reply)) {
        throw std::bad_cast();
    }
    return static_cast<Reply&>(node);
}

}  // namespace

Poco::AutoPtr<Poco::XML::Document> create_reply_document() {
    return new ReplyDocument(ThreadCache::get().get_reply_names());
}

Poco::AutoPtr<Poco::XML::Element> create_element(const Poco::XML::Document& document,
                                                 const std::string& name) {
    auto& reply = as_reply<ReplyDocument>(const_cast<Poco::XML::Document&>(document));
    return new (reply) ReplyElement(reply, name);
}

void append_text_element(Poco::XML::Element& parent, std::string_view name, std::string_view text) {
    as_reply<ReplyElement>(parent).append_text_child(name, text);
}

void set_attribute(Poco::XML::Element& element, std::string_view name, std::string_view value) {
    as_reply<ReplyElement>(element).set_attribute(name, value);
}

void append_text(Poco::XML::Element& element, std::string_view text) {
    as_reply<ReplyElement>(element).append_text(text);
}

const Rope& get_reply_text(const Poco::XML::Document* document) {
    if (document == nullptr) {
        throw Poco::NullPointerException();
    }
    return as_reply<const ReplyDocument>(*document).get_text();
}

}  // namespace kx::information_model::opc
