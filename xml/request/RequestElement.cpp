#include "xml/request/RequestElement.h"

#include "xml/ThreadCache.h"

#include <Poco/DOM/Attr.h>
#include <Poco/DOM/AutoPtr.h>

#include <algorithm>
#include <utility>

namespace kx::information_model::opc {

namespace {

const std::string POOLED_NAME = "e";

/// An attribute that stands in the text, in the document's memory.
class RequestAttribute final : public Poco::XML::Attr {
public:
    static void* operator new(std::size_t size, std::pmr::memory_resource& memory) {
        return memory.allocate(size);
    }
    static void operator delete(void* /*attribute*/, std::pmr::memory_resource& /*memory*/) noexcept {}
    static void operator delete(void* /*attribute*/) noexcept {}

    RequestAttribute(RequestDocument& document, const XmlName& name, std::string_view value)
        : Attr(&document, nullptr, name.uri, name.local_name, name.qualified_name, std::string(value), true) {
    }

protected:
    ~RequestAttribute() override = default;
};

}  // namespace

RequestMemory::RequestMemory(std::shared_ptr<NameTable> names) : names_(std::move(names)) {}

RequestMemory::~RequestMemory() {
    names_.reset();
    ThreadCache::trim();
}

RequestDocument::RequestDocument(std::shared_ptr<NameTable> names)
    : RequestMemory(std::move(names)), Document(&names_->get_pool()) {
    suspendEvents();
}

RequestDocument::~RequestDocument() = default;

// POCO's pool hashes the names that it is given, for each element: it gets one short name for all.
RequestElement::RequestElement(RequestDocument& document, const XmlName& name)
    : Element(&document, std::string(), std::string(), POOLED_NAME),
      name_(name),
      children_(this),
      text_start_(document.get_text().size()) {}

RequestElement::~RequestElement() = default;

void RequestElement::append_attribute(const XmlName& name, std::string_view value) {
    const std::size_t size = sizeof(Attribute) + value.size();
    void* const place = get_document().get_memory().allocate(size, alignof(Attribute));
    char* const text = static_cast<char*>(place) + sizeof(Attribute);
    std::copy(value.begin(), value.end(), text);
    auto* const attribute = new (place) Attribute{&name, {text, value.size()}, nullptr};
    (last_attribute_ == nullptr ? first_attribute_ : last_attribute_->next) = attribute;
    last_attribute_ = attribute;
}

void RequestElement::close() noexcept {
    text_size_ = get_document().get_text().size() - text_start_;
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

std::string RequestElement::innerText() const {
    return get_document().get_text().substr(text_start_, text_size_);
}

Poco::XML::NamedNodeMap* RequestElement::attributes() const {
    const_cast<RequestElement*>(this)->make_attribute_nodes();
    return Element::attributes();
}

RequestDocument& RequestElement::get_document() const noexcept {
    return static_cast<RequestDocument&>(*ownerDocument());
}

void RequestElement::make_attribute_nodes() {
    if (has_attribute_nodes_) {
        return;
    }
    Poco::XML::Attr* last = nullptr;
    for (const Attribute* attribute = first_attribute_; attribute != nullptr; attribute = attribute->next) {
        Poco::AutoPtr<Poco::XML::Attr> node = new (get_document().get_memory())
            RequestAttribute(get_document(), *attribute->name, attribute->value);
        last = addAttributeNodeNP(last, node);
    }
    has_attribute_nodes_ = true;
}

}  // namespace kx::information_model::opc
