#include "xml/request/RequestParser.h"

#include "xml/ThreadCache.h"
#include "xml/request/ExpatParser.h"
#include "xml/request/RequestElement.h"

#include <Poco/TextEncoding.h>
#include <Poco/XML/XMLException.h>

#include <expat.h>

#include <algorithm>
#include <cstring>
#include <exception>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace kx::information_model::opc {

namespace {

int convert_character(void* encoding, const char* bytes) {
    return static_cast<const Poco::TextEncoding*>(encoding)->convert(
        reinterpret_cast<const unsigned char*>(bytes));
}

// Encodings that expat does not know itself are looked up among POCO's.
int handle_unknown_encoding(void* /*user_data*/, const XML_Char* name, XML_Encoding* info) {
    try {
        const Poco::TextEncoding::Ptr encoding = Poco::TextEncoding::find(name);
        if (encoding.isNull()) {
            return XML_STATUS_ERROR;
        }
        std::copy_n(encoding->characterMap(), 256, info->map);
        info->data = const_cast<Poco::TextEncoding*>(encoding.get());  // registered for the process's life
        info->convert = convert_character;
        info->release = nullptr;
        return XML_STATUS_OK;
    } catch (...) {
        return XML_STATUS_ERROR;
    }
}

/// What expat may take at one time: with a text that is one large attribute it takes four bytes for each.
std::size_t get_memory_limit(std::size_t size) {
    return 4 * size + std::size_t{1024} * 1024;
}

// Against clients that choose names which collide. Expat would ask the system for a salt each time.
unsigned long get_hash_salt() {
    static const unsigned long salt = [] {
        std::random_device random;
        return (static_cast<unsigned long>(random()) << 32U | random()) | 1U;  // zero means none
    }();
    return salt;
}

// No request in good faith nests deeper.
constexpr std::size_t USUAL_DEPTH = 8;

/// Makes the document of what expat finds. Lives for one parse.
class RequestBuilder {
public:
    explicit RequestBuilder(std::size_t maximum_element_count)
        : document_(new RequestDocument(ThreadCache::get().get_request_names())),
          remaining_elements_(maximum_element_count) {
        open_elements_.reserve(USUAL_DEPTH);
    }

    /// @param owner  of the text, freed when expat has it; null if somebody else needs the text
    Poco::AutoPtr<Poco::XML::Document> build(std::string_view text, std::string* owner);

private:
    struct Callbacks;

    void prepare(XML_Parser parser);
    XML_Status parse(std::string_view text, std::string* owner);

    /// Runs `action`, unless there was a failure before; keeps what it throws and stops the parse.
    template <class Action>
    void guard(Action action) noexcept;

    void start_element(const char* name, const char** attributes);
    void end_element();

    Poco::AutoPtr<RequestDocument> document_;
    XML_Parser parser_ = nullptr;
    ExpatMemory* memory_ = nullptr;
    std::exception_ptr failure_;
    std::vector<RequestElement*> open_elements_;
    std::size_t remaining_elements_;
};

struct RequestBuilder::Callbacks {
    static RequestBuilder& get_builder(void* user_data) { return *static_cast<RequestBuilder*>(user_data); }

    static void start_element(void* user_data, const XML_Char* name, const XML_Char** attributes) {
        RequestBuilder& builder = get_builder(user_data);
        builder.guard([&] { builder.start_element(name, attributes); });
    }

    static void end_element(void* user_data, const XML_Char* /*name*/) {
        RequestBuilder& builder = get_builder(user_data);
        builder.guard([&] { builder.end_element(); });
    }

    static void character_data(void* user_data, const XML_Char* text, int length) {
        RequestBuilder& builder = get_builder(user_data);
        builder.guard([&] { builder.document_->append_text({text, static_cast<std::size_t>(length)}); });
    }

    static void start_namespace(void* user_data, const XML_Char* /*prefix*/, const XML_Char* uri) {
        if (uri == nullptr || std::strlen(uri) <= MAXIMUM_NAMESPACE_SIZE) {
            return;
        }
        RequestBuilder& builder = get_builder(user_data);
        builder.guard([] { throw RequestLimitException("the name of a namespace is too long"); });
        builder.memory_->close();
    }

    static void start_document_type(void* user_data, const XML_Char* /*name*/, const XML_Char* /*system_id*/,
                                    const XML_Char* /*public_id*/, int /*has_internal_subset*/) {
        get_builder(user_data).guard(
            [] { throw RequestLimitException("document type declarations are refused"); });
    }
};

Poco::AutoPtr<Poco::XML::Document> RequestBuilder::build(std::string_view text, std::string* owner) {
    if (text.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
        throw RequestLimitException("the text is too large");
    }
    std::unique_ptr<ExpatParser> parser = ThreadCache::get().take_parser();
    ExpatMemory& memory = parser->get_memory();
    memory.limit(get_memory_limit(text.size()));
    const ExpatMemory::Use use(memory);
    memory_ = &memory;
    prepare(parser->get());
    const XML_Status status = parse(text, owner);
    if (failure_) {
        std::rethrow_exception(failure_);
    }
    if (status != XML_STATUS_OK) {
        if (memory.is_limit_reached()) {
            throw RequestLimitException("parsing takes too much memory");
        }
        throw Poco::XML::XMLException(XML_ErrorString(XML_GetErrorCode(parser_)));
    }
    ThreadCache::get().keep_parser(std::move(parser));
    return document_;
}

void RequestBuilder::prepare(XML_Parser parser) {
    parser_ = parser;
    XML_SetHashSalt(parser, get_hash_salt());
    XML_SetUserData(parser, this);
    XML_SetReturnNSTriplet(parser, XML_TRUE);
    XML_SetElementHandler(parser, Callbacks::start_element, Callbacks::end_element);
    XML_SetCharacterDataHandler(parser, Callbacks::character_data);
    XML_SetStartNamespaceDeclHandler(parser, Callbacks::start_namespace);
    XML_SetStartDoctypeDeclHandler(parser, Callbacks::start_document_type);
    XML_SetUnknownEncodingHandler(parser, handle_unknown_encoding, nullptr);
}

// Expat works on a copy, which it would make of a text that it is given.
XML_Status RequestBuilder::parse(std::string_view text, std::string* owner) {
    const int size = static_cast<int>(text.size());
    if (size == 0) {
        return XML_Parse(parser_, "", size, XML_TRUE);  // there is no buffer for no bytes
    }
    void* const buffer = XML_GetBuffer(parser_, size);
    if (buffer == nullptr) {
        return XML_STATUS_ERROR;
    }
    std::memcpy(buffer, text.data(), text.size());
    if (owner != nullptr) {
        std::string().swap(*owner);  // an assignment keeps the memory
    }
    return XML_ParseBuffer(parser_, size, XML_TRUE);
}

template <class Action>
void RequestBuilder::guard(Action action) noexcept {
    if (failure_) {
        return;  // expat delivers what it already has in hand after it was stopped
    }
    try {
        action();
    } catch (...) {
        failure_ = std::current_exception();
        XML_StopParser(parser_, XML_FALSE);
    }
}

void RequestBuilder::start_element(const char* name, const char** attributes) {
    if (open_elements_.size() == MAXIMUM_DEPTH) {
        throw RequestLimitException("elements nest too deep");
    }
    if (remaining_elements_ == 0) {
        throw RequestLimitException("too many elements");
    }
    --remaining_elements_;
    Poco::AutoPtr<RequestElement> element =
        new (document_->get_memory()) RequestElement(*document_, document_->get_names().get(name));
    element->set_attributes(attributes);
    if (open_elements_.empty()) {
        document_->appendChild(element);
    } else {
        open_elements_.back()->append_child(*element);
    }
    open_elements_.push_back(element);
}

void RequestBuilder::end_element() {
    open_elements_.back()->close();
    open_elements_.pop_back();
}

}  // namespace

Poco::AutoPtr<Poco::XML::Document> parse_request(std::string_view text, std::size_t maximum_element_count) {
    return RequestBuilder(maximum_element_count).build(text, nullptr);
}

Poco::AutoPtr<Poco::XML::Document> parse_and_free_request(std::string& text) {
    return RequestBuilder(MAXIMUM_ELEMENT_COUNT).build(text, &text);
}

}  // namespace kx::information_model::opc
