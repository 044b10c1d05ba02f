#include "server/RequestBuilder.h"

#include "server/ExpatMemory.h"

#include <Poco/DOM/CDATASection.h>
#include <Poco/DOM/Comment.h>
#include <Poco/DOM/ProcessingInstruction.h>
#include <Poco/TextEncoding.h>
#include <Poco/XML/XMLException.h>

#include <expat.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <random>

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

}  // namespace

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
        builder.guard([&] { builder.add_text(text, static_cast<std::size_t>(length)); });
    }

    static void start_cdata(void* user_data) { get_builder(user_data).in_cdata_ = true; }

    static void end_cdata(void* user_data) { get_builder(user_data).in_cdata_ = false; }

    static void comment(void* user_data, const XML_Char* text) {
        RequestBuilder& builder = get_builder(user_data);
        builder.guard([&] { builder.add_comment(text); });
    }

    static void processing_instruction(void* user_data, const XML_Char* target, const XML_Char* data) {
        RequestBuilder& builder = get_builder(user_data);
        builder.guard([&] { builder.add_processing_instruction(target, data); });
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

RequestBuilder::RequestBuilder(std::size_t maximum_node_count)
    : document_(new RequestDocument(NameTable::get_for_thread())), remaining_nodes_(maximum_node_count) {}

RequestBuilder::~RequestBuilder() = default;

Poco::AutoPtr<Poco::XML::Document> RequestBuilder::build(const char* xml, std::size_t size) {
    if (size > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
        throw RequestLimitException("the text is too large");
    }
    ExpatMemory memory(get_memory_limit(size));
    memory_ = &memory;
    const std::unique_ptr<XML_ParserStruct, decltype(&XML_ParserFree)> parser(
        XML_ParserCreate_MM(nullptr, &ExpatMemory::FUNCTIONS, &NAME_SEPARATOR), &XML_ParserFree);
    if (parser == nullptr) {
        throw std::bad_alloc();
    }
    parser_ = parser.get();
    XML_SetHashSalt(parser_, get_hash_salt());
    XML_SetUserData(parser_, this);
    XML_SetReturnNSTriplet(parser_, XML_TRUE);
    XML_SetElementHandler(parser_, Callbacks::start_element, Callbacks::end_element);
    XML_SetCharacterDataHandler(parser_, Callbacks::character_data);
    XML_SetCdataSectionHandler(parser_, Callbacks::start_cdata, Callbacks::end_cdata);
    XML_SetCommentHandler(parser_, Callbacks::comment);
    XML_SetProcessingInstructionHandler(parser_, Callbacks::processing_instruction);
    XML_SetStartNamespaceDeclHandler(parser_, Callbacks::start_namespace);
    XML_SetStartDoctypeDeclHandler(parser_, Callbacks::start_document_type);
    XML_SetUnknownEncodingHandler(parser_, handle_unknown_encoding, nullptr);

    const XML_Status status = XML_Parse(parser_, xml, static_cast<int>(size), XML_TRUE);
    if (failure_) {
        std::rethrow_exception(failure_);
    }
    if (status != XML_STATUS_OK) {
        if (memory.is_limit_reached()) {
            throw RequestLimitException("parsing takes too much memory");
        }
        throw Poco::XML::XMLException(XML_ErrorString(XML_GetErrorCode(parser_)));
    }
    return document_;
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
    flush_text();
    count_node();
    NameTable& names = document_->get_names();
    Poco::AutoPtr<RequestElement> element =
        new (document_->get_memory()) RequestElement(*document_, names.get(name));
    for (; *attributes != nullptr; attributes += 2) {
        element->append_attribute(names.get(attributes[0]), attributes[1]);
    }
    append(element);
    open_elements_.push_back(element);
}

void RequestBuilder::end_element() {
    flush_text();
    open_elements_.pop_back();
}

void RequestBuilder::add_text(const char* text, std::size_t length) {
    const TEXT_KIND kind = in_cdata_ ? TEXT_KIND::CDATA : TEXT_KIND::TEXT;
    if (kind != text_kind_) {
        flush_text();
        text_kind_ = kind;
    }
    text_.append(text, length);
}

void RequestBuilder::add_comment(const char* text) {
    flush_text();
    count_node();
    append(Poco::AutoPtr<Poco::XML::Comment>(document_->createComment(text)));
}

void RequestBuilder::add_processing_instruction(const char* target, const char* data) {
    flush_text();
    count_node();
    append(Poco::AutoPtr<Poco::XML::ProcessingInstruction>(
        document_->createProcessingInstruction(target, data)));
}

void RequestBuilder::count_node() {
    if (remaining_nodes_ == 0) {
        throw RequestLimitException("too many nodes");
    }
    --remaining_nodes_;
}

void RequestBuilder::append(Poco::XML::Node* node) {
    if (open_elements_.empty()) {
        document_->appendChild(node);
    } else {
        open_elements_.back()->appendChild(node);
    }
}

void RequestBuilder::flush_text() {
    if (text_.empty()) {
        return;
    }
    count_node();
    if (text_kind_ == TEXT_KIND::CDATA) {
        append(Poco::AutoPtr<Poco::XML::CDATASection>(document_->createCDATASection(text_)));
    } else {
        open_elements_.back()->append_text_node(text_);
    }
    text_.clear();
}

}  // namespace kx::information_model::opc
