#include "client/xml/XmlDocument.h"

#include "client/errors.h"

#include <libxml/SAX2.h>
#include <libxml/parser.h>
#include <libxml/parserInternals.h>

#include <algorithm>
#include <array>
#include <limits>
#include <new>
#include <string>

namespace xmlda {
namespace {

constexpr int MAXIMUM_DEPTH = 100;  // messages nest some ten deep
constexpr char BLANKS[] = " \t\r\n";

/// Without limits of libxml2's own for texts, but with ours for what could be abused.
constexpr int OPTIONS = XML_PARSE_HUGE | XML_PARSE_NONET | XML_PARSE_NOENT | XML_PARSE_NOERROR |
                        XML_PARSE_NOWARNING | XML_PARSE_COMPACT;

/// One run of the parser.
class Parser {
public:
    Parser() : context_(xmlNewParserCtxt()) {
        if (context_ == nullptr) {
            throw std::bad_alloc();
        }
        context_->_private = this;
        context_->sax->startElementNs = start_element;
        context_->sax->internalSubset = refuse_document_type;
        context_->sax->serror = take_error;
    }
    Parser(const Parser&) = delete;
    Parser& operator=(const Parser&) = delete;
    ~Parser() { xmlFreeParserCtxt(context_); }

    /// @return owned by the caller
    xmlDoc* parse(std::string_view bytes) {
        if (bytes.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
            throw UnexpectedMessage("too large to be read as XML");
        }
        xmlDoc* const document = xmlCtxtReadMemory(context_, bytes.data(), static_cast<int>(bytes.size()),
                                                   nullptr, nullptr, OPTIONS);
        if (document != nullptr && line_ == 0) {
            return document;
        }
        xmlFreeDoc(document);
        if (line_ == 0 || context_->errNo == XML_ERR_NO_MEMORY) {
            throw std::bad_alloc();
        }
        throw UnexpectedMessage(std::string("not the XML it should be: ") + reason_.data() + " in line " +
                                std::to_string(line_));
    }

private:
    static Parser& get_parser(void* context) {
        return *static_cast<Parser*>(static_cast<xmlParserCtxt*>(context)->_private);
    }

    static void start_element(void* context, const xmlChar* name, const xmlChar* prefix, const xmlChar* uri,
                              int namespaces, const xmlChar** namespace_list, int attributes, int defaulted,
                              const xmlChar** attribute_list) {
        if (static_cast<xmlParserCtxt*>(context)->nodeNr == MAXIMUM_DEPTH) {
            get_parser(context).refuse("elements nested too deep");
            return;
        }
        xmlSAX2StartElementNs(context, name, prefix, uri, namespaces, namespace_list, attributes, defaulted,
                              attribute_list);
    }

    static void refuse_document_type(void* context, const xmlChar* /*name*/, const xmlChar* /*external_id*/,
                                     const xmlChar* /*system_id*/) {
        get_parser(context).refuse("a document type declaration");
    }

    static void take_error(void* context, xmlErrorPtr error) {
        if (error->level >= XML_ERR_ERROR) {
            get_parser(context).keep(explain(*error), error->line);
        }
    }

    /// In words of ours for what is met most.
    static std::string_view explain(const xmlError& error) {
        const std::string_view text = error.message == nullptr ? "syntax error" : error.message;
        switch (error.code) {
            case XML_ERR_DOCUMENT_EMPTY:
                return text.starts_with("Start tag") ? "syntax error" : "no element found";
            case XML_ERR_TAG_NOT_FINISHED:
                return "no element found";
            case XML_ERR_TAG_NAME_MISMATCH:
                return "mismatched tag";
            case XML_NS_ERR_UNDEFINED_NAMESPACE:
                return "unbound prefix";
            default:
                return text.substr(0, text.find_last_not_of(BLANKS) + 1);
        }
    }

    void refuse(std::string_view reason) {
        keep(reason, context_->input->line);
        xmlStopParser(context_);
    }

    /// The first thing that is wrong counts: others may follow from it. Called from C, so that nothing may be
    /// thrown.
    void keep(std::string_view reason, int line) noexcept {
        if (line_ == 0) {
            reason.copy(reason_.data(), reason_.size() - 1);
            line_ = std::max(line, 1);
        }
    }

    xmlParserCtxt* context_;
    std::array<char, 200> reason_{};  // why the document is refused
    int line_ = 0;                    // where; 0 as long as nothing is wrong
};

/// libxml2 wants to be set up by one thread before several use it.
void initialise() {
    static const bool is_done = [] {
        xmlInitParser();
        return true;
    }();
    static_cast<void>(is_done);
}

xmlDoc* parse(std::string_view bytes) {
    initialise();
    return Parser().parse(bytes);
}

}  // namespace

XmlDocument::XmlDocument(std::string_view bytes)
    : document_(parse(bytes)), root_(xmlDocGetRootElement(document_.get())) {}

void XmlDocument::Free::operator()(_xmlDoc* document) const {
    xmlFreeDoc(document);
}

}  // namespace xmlda
