#include "client/xml/XmlDocument.h"

#include "client/errors.h"

#include <libxml/SAX2.h>
#include <libxml/parser.h>
#include <libxml/parserInternals.h>

#include <strings.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <limits>
#include <memory>
#include <memory_resource>
#include <new>
#include <span>
#include <string>

namespace xmlda {

/// Where elements, attributes and texts live: freed all at once, so that making one costs little more than
/// copying it. Names live in the parser's dictionary.
struct XmlDocument::Memory {
    explicit Memory(std::size_t size) : arena(size) {}
    Memory(const Memory&) = delete;
    Memory& operator=(const Memory&) = delete;
    ~Memory() { xmlDictFree(names); }

    template <class T>
    T* allocate(std::size_t count) {
        return static_cast<T*>(arena.allocate(count * sizeof(T), alignof(T)));
    }

    std::string_view copy(const xmlChar* text, std::size_t size) {
        char* const place = allocate<char>(size);
        std::memcpy(place, text, size);
        return {place, size};
    }

    std::pmr::monotonic_buffer_resource arena;
    xmlDict* names = nullptr;
    const XmlNode* root = nullptr;
};

namespace {

constexpr std::size_t MAXIMUM_DEPTH = 100;       // messages nest some ten deep
constexpr std::size_t MAXIMUM_NAMESPACES = 256;  // libxml2 looks through all that are declared for each name
constexpr char BLANKS[] = " \t\r\n";

/// Without limits of libxml2's own for texts, but with ours for what could be abused.
constexpr int OPTIONS =
    XML_PARSE_HUGE | XML_PARSE_NONET | XML_PARSE_NOENT | XML_PARSE_NOERROR | XML_PARSE_NOWARNING;

std::string_view to_view(const xmlChar* text) {
    return text == nullptr ? std::string_view() : reinterpret_cast<const char*>(text);
}

/// Whether the encoding is one of `Encodings::WITH_ASCII`; in EBCDIC and UTF-7, for example, '<' is another
/// byte. Known once the parser has seen the first element.
bool has_ascii(const xmlParserCtxt& context) {
    const xmlParserInputBuffer* const buffer = context.input->buf;
    if (buffer == nullptr || buffer->encoder == nullptr) {
        return true;  // UTF-8
    }
    constexpr std::array KNOWN = {"UTF-16", "US-ASCII", "ASCII",   "ISO-8859", "WINDOWS-", "CP125",    "KOI8",
                                  "GB2312", "GBK",      "GB18030", "BIG5",     "EUC-",     "SHIFT_JIS"};
    return std::any_of(KNOWN.begin(), KNOWN.end(), [buffer](std::string_view beginning) {
        return ::strncasecmp(buffer->encoder->name, beginning.data(), beginning.size()) == 0;
    });
}

/// libxml2 wants to be set up by one thread before several use it.
void initialise() {
    static const bool is_done = [] {
        xmlInitParser();
        return true;
    }();
    static_cast<void>(is_done);
}

}  // namespace

/// One run of the parser. What it reports becomes nodes of ours: its own tree has an allocation for each
/// attribute, each attribute's value and each text.
class XmlDocument::Parser {
public:
    Parser(Memory& memory, Encodings encodings)
        : memory_(memory), encodings_(encodings), context_(xmlNewParserCtxt()) {
        if (context_ == nullptr) {
            throw std::bad_alloc();
        }
        context_->_private = this;
        context_->sax->startElementNs = start_element;
        context_->sax->endElementNs = end_element;
        context_->sax->characters = take_text;
        context_->sax->ignorableWhitespace = take_text;
        context_->sax->cdataBlock = take_text;
        context_->sax->comment = nullptr;
        context_->sax->processingInstruction = nullptr;
        context_->sax->internalSubset = refuse_document_type;
        context_->sax->serror = take_error;
        memory_.names = context_->dict;
        xmlDictReference(memory_.names);
    }
    Parser(const Parser&) = delete;
    Parser& operator=(const Parser&) = delete;
    ~Parser() { xmlFreeParserCtxt(context_); }

    void parse(std::string_view bytes) {
        if (bytes.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
            throw UnexpectedMessage("too large to be read as XML");
        }
        xmlDoc* const document = xmlCtxtReadMemory(context_, bytes.data(), static_cast<int>(bytes.size()),
                                                   nullptr, nullptr, OPTIONS);
        xmlFreeDoc(document);  // without elements
        if (document != nullptr && line_ == 0 && !lacks_memory_) {
            return;
        }
        if (line_ == 0 || context_->errNo == XML_ERR_NO_MEMORY) {
            throw std::bad_alloc();
        }
        throw UnexpectedMessage(std::string("malformed XML: ") + reason_.data() + " in line " +
                                std::to_string(line_));
    }

private:
    static Parser& get_parser(void* context) {
        return *static_cast<Parser*>(static_cast<xmlParserCtxt*>(context)->_private);
    }

    static void start_element(void* context, const xmlChar* name, const xmlChar* /*prefix*/,
                              const xmlChar* uri, int declarations, const xmlChar** declaration_list,
                              int attributes, int /*defaulted*/, const xmlChar** attribute_list) {
        Parser& parser = get_parser(context);
        if (parser.depth_ == 0 && parser.encodings_ == Encodings::WITH_ASCII &&
            !has_ascii(*parser.context_)) {
            parser.refuse("an encoding in which '<' may be another byte than in ASCII");
            return;
        }
        if (parser.depth_ == parser.open_.size()) {
            parser.refuse("elements nested too deep");
            return;
        }
        parser.namespaces_ += static_cast<std::size_t>(declarations);
        if (parser.namespaces_ > MAXIMUM_NAMESPACES) {
            parser.refuse("too many namespaces");
            return;
        }
        parser.call([&] {
            parser.append_element(new (parser.memory_.allocate<XmlNode>(1)) XmlNode{
                .name = to_view(name),
                .namespace_uri = parser.to_namespace(uri),
                .attributes = parser.create_attributes(attribute_list, attributes),
                .declarations = parser.create_declarations(declaration_list, declarations)});
        });
    }

    static void end_element(void* context, const xmlChar* /*name*/, const xmlChar* /*prefix*/,
                            const xmlChar* /*uri*/) {
        Parser& parser = get_parser(context);
        --parser.depth_;
        parser.namespaces_ -= parser.open_[parser.depth_].node->declarations.size();
    }

    /// May come several times for one text.
    static void take_text(void* context, const xmlChar* text, int size) {
        Parser& parser = get_parser(context);
        if (parser.depth_ > 0) {
            parser.call([&] { parser.append_text(text, static_cast<std::size_t>(size)); });
        }
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

    /// Runs what may lack memory. Called from C, so that nothing may be thrown.
    template <class Function>
    void call(Function function) noexcept {
        try {
            function();
        } catch (const std::bad_alloc&) {
            lacks_memory_ = true;
            xmlStopParser(context_);
        }
    }

    void append_element(XmlNode* node) {
        if (depth_ == 0) {
            memory_.root = node;
        } else {
            Open& parent = open_[depth_ - 1];
            node->parent = parent.node;
            (parent.last_child == nullptr ? parent.node->first_child : parent.last_child->next) = node;
            parent.last_child = node;
        }
        open_[depth_++] = {.node = node};
    }

    void append_text(const xmlChar* text, std::size_t size) {
        const XmlText content{.text = memory_.copy(text, size)};
        XmlText* const part = new (memory_.allocate<XmlText>(1)) XmlText(content);
        Open& element = open_[depth_ - 1];
        (element.last_text == nullptr ? element.node->texts : element.last_text->next) = part;
        element.last_text = part;
    }

    /// @param list  prefix and namespace of each
    std::span<const XmlDeclaration> create_declarations(const xmlChar** list, int count) {
        if (count == 0) {
            return {};
        }
        const auto size = static_cast<std::size_t>(count);
        auto* const declarations = memory_.allocate<XmlDeclaration>(size);
        for (std::size_t i = 0; i < size; ++i, list += 2) {
            new (declarations + i)
                XmlDeclaration{.prefix = to_view(list[0]), .namespace_uri = to_view(list[1])};
        }
        return {declarations, size};
    }

    /// @param list  name, prefix, namespace, begin and end of the value of each
    std::span<const XmlAttribute> create_attributes(const xmlChar** list, int count) {
        if (count == 0) {
            return {};
        }
        const auto size = static_cast<std::size_t>(count);
        auto* const attributes = memory_.allocate<XmlAttribute>(size);
        for (std::size_t i = 0; i < size; ++i, list += 5) {
            new (attributes + i)
                XmlAttribute{.name = to_view(list[0]),
                             .namespace_uri = list[2] == nullptr ? std::string_view() : to_namespace(list[2]),
                             .value = memory_.copy(list[3], static_cast<std::size_t>(list[4] - list[3]))};
        }
        return {attributes, size};
    }

    /// Long texts, of which one follows itself mostly: the parser has each but once.
    std::string_view to_namespace(const xmlChar* uri) {
        if (reinterpret_cast<const char*>(uri) != last_namespace_.data()) {
            last_namespace_ = to_view(uri);
        }
        return last_namespace_;
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

    /// An element that has not ended, with what came last in it.
    struct Open {
        XmlNode* node = nullptr;
        XmlNode* last_child = nullptr;
        XmlText* last_text = nullptr;
    };

    Memory& memory_;
    const Encodings encodings_;
    xmlParserCtxt* context_;
    std::array<Open, MAXIMUM_DEPTH> open_;
    std::size_t depth_ = 0;
    std::size_t namespaces_ = 0;  // declared where the parser is
    std::string_view last_namespace_;
    bool lacks_memory_ = false;
    std::array<char, 200> reason_{};  // why the document is refused
    int line_ = 0;                    // where; 0 as long as nothing is wrong
};

XmlDocument::XmlDocument(std::string_view bytes, Encodings encodings)
    : memory_(new Memory(bytes.size() + 1)), root_(nullptr) {
    initialise();
    Parser(*memory_, encodings).parse(bytes);
    root_ = XmlElement(memory_->root);
}

void XmlDocument::Free::operator()(Memory* memory) const {
    delete memory;
}

}  // namespace xmlda
