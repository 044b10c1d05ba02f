#include "server/reply_dom.h"

#include "server/PerThread.h"
#include "server/ReplyElement.h"

#include <Poco/XML/NamePool.h>

#include <stdexcept>

namespace kx::information_model::opc {

namespace {

// More than twice as many as there are names in all replies together: the pool is a hash table.
constexpr unsigned long NAME_POOL_SIZE = 251;

struct ReplyNames {
    // As an initialiser of the member, g++ would forget the memory if the pool's constructor throws.
    ReplyNames() : pool(new Poco::XML::NamePool(NAME_POOL_SIZE)) {}

    Poco::AutoPtr<Poco::XML::NamePool> pool;
};

Poco::XML::NamePool& get_name_pool() {
    static PerThread<ReplyNames> names;
    return *names.get().pool;
}

ReplyElement& as_reply_element(Poco::XML::Element& element) {
    return static_cast<ReplyElement&>(element);
}

}  // namespace

Poco::AutoPtr<Poco::XML::Document> create_reply_document() {
    return new ReplyDocument(get_name_pool());
}

Poco::AutoPtr<Poco::XML::Element> create_element(const Poco::XML::Document& document,
                                                 const std::string& name) {
    auto& reply = static_cast<ReplyDocument&>(const_cast<Poco::XML::Document&>(document));
    return ReplyElement::create(reply, name);
}

Poco::AutoPtr<Poco::XML::Element> append_element(Poco::XML::Element& parent, const std::string& name) {
    if (as_reply_element(parent).is_open_list()) {
        throw std::logic_error("What is appended to an open list has to be complete.");
    }
    auto element = create_element(*parent.ownerDocument(), name);
    parent.appendChild(element);
    return element;
}

void set_attribute(Poco::XML::Element& element, std::string_view name, std::string_view value) {
    as_reply_element(element).set_attribute(name, value);
}

void append_text_element(Poco::XML::Element& parent, std::string_view name, std::string_view text) {
    as_reply_element(parent).append_text_child(name, text);
}

void append_text(Poco::XML::Element& element, std::string_view text) {
    as_reply_element(element).append_text(text);
}

}  // namespace kx::information_model::opc
