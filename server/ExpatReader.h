#pragma once

#include <Poco/SAX/ContentHandler.h>
#include <Poco/SAX/LexicalHandler.h>
#include <Poco/SAX/XMLReader.h>
#include <Poco/XML/NamespaceStrategy.h>
#include <Poco/XML/XMLString.h>

#include <cstddef>
#include <exception>
#include <stdexcept>

struct XML_ParserStruct;

namespace kx::information_model::opc {

/// A request exceeds what this server parses for anybody.
class RequestLimitException : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// How deep elements may nest. Requests nest seven deep; a DOM is read and freed by recursion.
inline constexpr std::size_t MAXIMUM_DEPTH = 128;

/// A SAX reader for texts of unknown origin, with the events of `Poco::XML::SAXParser` with namespaces and
/// namespace prefixes on.
///
/// That one cannot be used here: it feeds expat 4 KB at a time, and expat starts each token anew with each
/// piece, so that an attribute of 10 MB takes many seconds; it cannot stop; and an exception that leaves
/// one of its handlers takes memory of expat's with it. This one gives expat the whole text in one call,
/// stops at the first failure, and throws it when expat has returned. It refuses document type declarations
/// and elements nested deeper than `MAXIMUM_DEPTH` as they begin.
///
/// Lives for one parse, used by one thread.
class ExpatReader : public Poco::XML::XMLReader {
public:
    ExpatReader() = default;
    ExpatReader(const ExpatReader&) = delete;
    ExpatReader& operator=(const ExpatReader&) = delete;
    ~ExpatReader() override;

    /// @param size  at most the largest int
    /// @throws RequestLimitException    on what is refused
    /// @throws Poco::XML::XMLException  on what is not well-formed
    void parseMemoryNP(const char* xml, std::size_t size) override;

    void setContentHandler(Poco::XML::ContentHandler* handler) override { content_handler_ = handler; }
    Poco::XML::ContentHandler* getContentHandler() const override { return content_handler_; }

    /// Takes PROPERTY_LEXICAL_HANDLER.
    void setProperty(const Poco::XML::XMLString& property, void* value) override;

    /// FEATURE_NAMESPACES and FEATURE_NAMESPACE_PREFIXES are on, all others off.
    bool getFeature(const Poco::XML::XMLString& feature) const override;

    /// @name Parts of the interface that have no use here
    /// The handlers are never called, since what they handle is refused or reported as an exception; the
    /// rest throws.
    /// @{
    void setEntityResolver(Poco::XML::EntityResolver* /*resolver*/) override {}
    Poco::XML::EntityResolver* getEntityResolver() const override { return nullptr; }
    void setDTDHandler(Poco::XML::DTDHandler* /*handler*/) override {}
    Poco::XML::DTDHandler* getDTDHandler() const override { return nullptr; }
    void setErrorHandler(Poco::XML::ErrorHandler* /*handler*/) override {}
    Poco::XML::ErrorHandler* getErrorHandler() const override { return nullptr; }
    void setFeature(const Poco::XML::XMLString& feature, bool state) override;
    void setProperty(const Poco::XML::XMLString& property, const Poco::XML::XMLString& value) override;
    void* getProperty(const Poco::XML::XMLString& property) const override;
    void parse(Poco::XML::InputSource* source) override;
    void parse(const Poco::XML::XMLString& system_id) override;
    /// @}

private:
    struct Callbacks;

    /// Runs `action`, unless there was a failure before; keeps what it throws and stops the parse.
    template <class Action>
    void guard(Action action) noexcept;

    void start_element(const char* name, const char** attributes);
    void end_element(const char* name);

    XML_ParserStruct* parser_ = nullptr;
    Poco::XML::ContentHandler* content_handler_ = nullptr;
    Poco::XML::LexicalHandler* lexical_handler_ = nullptr;
    Poco::XML::NamespacePrefixesStrategy names_;
    std::exception_ptr failure_;
    std::size_t depth_ = 0;
};

}  // namespace kx::information_model::opc
