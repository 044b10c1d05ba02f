#pragma once

#include "server/RequestElement.h"

#include <Poco/DOM/AutoPtr.h>
#include <Poco/DOM/Document.h>
#include <Poco/DOM/Node.h>

#include <cstddef>
#include <exception>
#include <stdexcept>
#include <string>
#include <vector>

struct XML_ParserStruct;

namespace kx::information_model::opc {

class ExpatMemory;

/// A request exceeds what this server parses for anybody.
class RequestLimitException : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// How deep elements may nest. Requests nest seven deep; a DOM is read and freed by recursion.
inline constexpr std::size_t MAXIMUM_DEPTH = 128;

/// How many elements, texts, sections, comments and processing instructions there may be: a node takes some
/// 130 bytes, and can be written with four. A Write of a million items, on lines of their own, has six
/// million.
inline constexpr std::size_t MAXIMUM_NODE_COUNT = std::size_t{8} * 1024 * 1024;

/// Longest name of a namespace, in bytes: expat copies it for each attribute that has its prefix.
inline constexpr std::size_t MAXIMUM_NAMESPACE_SIZE = 1024;

/// Builds, with expat, the DOM that `Poco::XML::DOMParser` builds with namespaces and namespace prefixes on,
/// from texts of unknown origin.
///
/// POCO's parser cannot be used here: it feeds expat 4 KB at a time, and expat starts each token anew with
/// each piece, so that an attribute of 10 MB takes many seconds; it cannot stop; and an exception that leaves
/// one of its handlers takes memory of expat's with it. This one gives expat the whole text in one call,
/// stops at the first failure, and throws it when expat has returned. It refuses document type declarations,
/// elements nested deeper than `MAXIMUM_DEPTH`, more than `MAXIMUM_NODE_COUNT` nodes, names of namespaces
/// longer than `MAXIMUM_NAMESPACE_SIZE`, and what makes expat take more than four bytes of memory for each of
/// the text (and one MiB), as they begin.
///
/// Lives for one parse, used by one thread.
class RequestBuilder {
public:
    explicit RequestBuilder(std::size_t maximum_node_count = MAXIMUM_NODE_COUNT);
    RequestBuilder(const RequestBuilder&) = delete;
    RequestBuilder& operator=(const RequestBuilder&) = delete;
    ~RequestBuilder();

    /// @param size  at most the largest int
    /// @throws RequestLimitException        on what is refused
    /// @throws Poco::XML::XMLException      on what is not well-formed
    /// @throws Poco::PoolOverflowException  on more than `NameTable::MAXIMUM_REQUEST_NAMES` different names,
    ///                                      if there is no room for them from requests before
    Poco::AutoPtr<Poco::XML::Document> build(const char* xml, std::size_t size);

private:
    struct Callbacks;

    /// Texts that adjoin become one node, as long as they are of one kind.
    enum class TEXT_KIND { TEXT, CDATA };

    /// Runs `action`, unless there was a failure before; keeps what it throws and stops the parse.
    template <class Action>
    void guard(Action action) noexcept;

    void start_element(const char* name, const char** attributes);
    void end_element();
    void add_text(const char* text, std::size_t length);
    void add_comment(const char* text);
    void add_processing_instruction(const char* target, const char* data);

    void count_node();
    void append(Poco::XML::Node* node);
    void flush_text();

    Poco::AutoPtr<RequestDocument> document_;
    XML_ParserStruct* parser_ = nullptr;
    ExpatMemory* memory_ = nullptr;
    std::exception_ptr failure_;
    std::vector<RequestElement*> open_elements_;
    std::size_t remaining_nodes_;
    std::string text_;  // not yet in the document
    TEXT_KIND text_kind_ = TEXT_KIND::TEXT;
    bool in_cdata_ = false;
};

}  // namespace kx::information_model::opc
