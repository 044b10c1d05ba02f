#include "server/RequestElement.h"

#include <Poco/DOM/AutoPtr.h>

#include <algorithm>
#include <utility>

namespace kx::information_model::opc {

RequestDocument::RequestDocument(std::shared_ptr<NameTable> names)
    : ArenaDocument(names->get_pool()), names_(std::move(names)) {}

// The nodes are still there, but look at no name any more.
RequestDocument::~RequestDocument() {
    names_.reset();
    NameTable::trim_for_thread();
}

RequestElement::RequestElement(RequestDocument& document, const QualifiedName& name)
    : ArenaElement(document, std::string(), std::string(), name.name), name_(name) {}

RequestElement::~RequestElement() = default;

std::string RequestElement::prefix() const {
    const std::size_t prefixed = name_.name.size() - name_.local_name.size();
    return prefixed == 0 ? std::string() : name_.name.substr(0, prefixed - 1);
}

void RequestElement::append_attribute(const QualifiedName& name, std::string_view value) {
    std::pmr::memory_resource& memory = get_document().get_memory();
    auto* const text = static_cast<char*>(memory.allocate(value.size(), 1));
    std::copy(value.begin(), value.end(), text);
    void* const place = memory.allocate(sizeof(Attribute), alignof(Attribute));
    auto* const attribute = new (place) Attribute{&name, {text, value.size()}, nullptr};
    (last_attribute_ == nullptr ? first_attribute_ : last_attribute_->next) = attribute;
    last_attribute_ = attribute;
}

std::optional<std::string_view> RequestElement::find_attribute_text(
    std::string_view uri, std::string_view local_name) const noexcept {
    for (const Attribute* attribute = first_attribute_; attribute != nullptr; attribute = attribute->next) {
        if (attribute->name->local_name == local_name && attribute->name->uri == uri) {
            return attribute->value;
        }
    }
    return std::nullopt;
}

Poco::XML::NamedNodeMap* RequestElement::attributes() const {
    const_cast<RequestElement*>(this)->make_attribute_nodes();
    return ArenaElement::attributes();
}

void RequestElement::make_attribute_nodes() {
    if (has_attribute_nodes_) {
        return;
    }
    Poco::XML::Attr* last = nullptr;
    for (const Attribute* attribute = first_attribute_; attribute != nullptr; attribute = attribute->next) {
        const QualifiedName& name = *attribute->name;
        Poco::AutoPtr<Poco::XML::Attr> node = new (get_document().get_memory())
            ArenaAttr(get_document(), name.uri, name.local_name, name.name, std::string(attribute->value));
        last = addAttributeNodeNP(last, node);
    }
    has_attribute_nodes_ = true;
}

}  // namespace kx::information_model::opc
