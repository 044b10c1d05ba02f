#pragma once

#include "server/QualifiedName.h"
#include "server/arena_dom.h"

#include <Poco/DOM/Attr.h>
#include <Poco/DOM/NamedNodeMap.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace kx::information_model::opc {

/// The document of a request, with its names.
class RequestDocument final : public ArenaDocument {
public:
    explicit RequestDocument(std::shared_ptr<NameTable> names);

    NameTable& get_names() noexcept { return *names_; }

protected:
    ~RequestDocument() override;

private:
    std::shared_ptr<NameTable> names_;
};

/// An element of a request. Its attributes are kept as what they are, a name and a text: nodes of POCO's take
/// several times the memory and the time, and a service asks each for its text, once. They become nodes when
/// somebody asks for `attributes()`; POCO's other functions for attributes see them only after that.
/// Namespace and local name come from the document's table: POCO's pool hashes all that it is given, for each
/// element.
class RequestElement final : public ArenaElement {
public:
    RequestElement(RequestDocument& document, const QualifiedName& name);

    /// Appends an attribute that the element does not have yet, and copies its value.
    /// @param name  of the document's table
    void append_attribute(const QualifiedName& name, std::string_view value);

    /// The text of the attribute of that name; valid as long as the document.
    /// @param uri  empty for an attribute without a prefix
    std::optional<std::string_view> find_attribute_text(std::string_view uri,
                                                        std::string_view local_name) const noexcept;

    const std::string& namespaceURI() const override { return name_.uri; }
    const std::string& localName() const override { return name_.local_name; }
    std::string prefix() const override;
    bool hasAttributes() const override { return first_attribute_ != nullptr; }
    Poco::XML::NamedNodeMap* attributes() const override;

protected:
    ~RequestElement() override;

private:
    struct Attribute {
        const QualifiedName* name;
        std::string_view value;
        Attribute* next;
    };

    void make_attribute_nodes();

    const QualifiedName& name_;
    Attribute* first_attribute_ = nullptr;
    Attribute* last_attribute_ = nullptr;
    bool has_attribute_nodes_ = false;
};

}  // namespace kx::information_model::opc
