#include "xml/request/RequestElement.h"

#include "base/LimitException.h"
#include "xml/ThreadCache.h"

#include <Poco/DOM/Attr.h>
#include <Poco/DOM/AutoPtr.h>

#include <algorithm>
#include <cstring>
#include <limits>
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

void RequestDocument::append_text(std::string_view text) {
    if (text.size() > std::numeric_limits<std::uint32_t>::max() - text_.size()) {
        throw RequestLimitException("the texts are too long");
    }
    text_ += text;
}

// POCO's pool hashes the names that it is given, for each element: it gets one short name for all.
RequestElement::RequestElement(RequestDocument& document, const XmlName& name)
    : Element(&document, std::string(), std::string(), POOLED_NAME),
      name_(name),
      children_(this),
      text_start_(static_cast<std::uint32_t>(document.get_text().size())) {}

RequestElement::~RequestElement() = default;

void RequestElement::set_attributes(const char* const* attributes) {
    std::uint32_t count = 0;
    std::size_t texts_size = 0;
    for (const char* const* value = attributes; *value != nullptr; value += 2) {
        texts_size += std::strlen(value[1]);
        ++count;
    }
    if (count == 0) {
        return;
    }
    // The texts lie behind the attributes.
    const std::size_t attributes_size = count * sizeof(Attribute);
    void* const place =
        get_document().get_memory().allocate(attributes_size + texts_size, alignof(Attribute));
    auto* const first = static_cast<Attribute*>(place);
    char* text = static_cast<char*>(place) + attributes_size;
    NameTable& names = get_document().get_names();
    for (std::uint32_t index = 0; index < count; ++index, attributes += 2) {
        const std::size_t size = std::strlen(attributes[1]);
        new (first + index) Attribute{&names.get(attributes[0]), {text, size}};
        text = std::copy_n(attributes[1], size, text);
    }
    attributes_ = first;
    attribute_count_ = count;
}

void RequestElement::close() noexcept {
    text_size_ = static_cast<std::uint32_t>(get_document().get_text().size()) - text_start_;
}

std::optional<std::string_view> RequestElement::find_attribute_text(
    std::string_view uri, std::string_view local_name) const noexcept {
    for (const Attribute& attribute : get_attributes()) {
        if (attribute.name->local_name == local_name && attribute.name->uri == uri) {
            return attribute.value;
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
    for (const Attribute& attribute : get_attributes()) {
        Poco::AutoPtr<Poco::XML::Attr> node = new (get_document().get_memory())
            RequestAttribute(get_document(), *attribute.name, attribute.value);
        last = addAttributeNodeNP(last, node);
    }
    has_attribute_nodes_ = true;
}

}  // namespace kx::information_model::opc
