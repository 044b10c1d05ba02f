#include "server/ExpatReader.h"

#include <Poco/SAX/SAXException.h>
#include <Poco/TextEncoding.h>
#include <Poco/XML/XMLException.h>

#include <expat.h>

#include <algorithm>
#include <limits>
#include <memory>
#include <new>

namespace kx::information_model::opc {

namespace {

// Separates namespace, local name and prefix in expat's names; what NamespaceStrategy expects.
constexpr XML_Char NAME_SEPARATOR = '\t';

int convert_character(void* encoding, const char* bytes) {
    return static_cast<const Poco::TextEncoding*>(encoding)->convert(reinterpret_cast<const unsigned char*>(bytes));
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

}  // namespace

struct ExpatReader::Callbacks {
    static ExpatReader& get_reader(void* user_data) { return *static_cast<ExpatReader*>(user_data); }

    static void start_element(void* user_data, const XML_Char* name, const XML_Char** attributes) {
        ExpatReader& reader = get_reader(user_data);
        reader.guard([&] { reader.start_element(name, attributes); });
    }

    static void end_element(void* user_data, const XML_Char* name) {
        ExpatReader& reader = get_reader(user_data);
        reader.guard([&] { reader.end_element(name); });
    }

    static void character_data(void* user_data, const XML_Char* text, int length) {
        ExpatReader& reader = get_reader(user_data);
        reader.guard([&] { reader.content_handler_->characters(text, 0, length); });
    }

    static void processing_instruction(void* user_data, const XML_Char* target, const XML_Char* data) {
        ExpatReader& reader = get_reader(user_data);
        reader.guard([&] { reader.content_handler_->processingInstruction(target, data); });
    }

    static void comment(void* user_data, const XML_Char* text) {
        ExpatReader& reader = get_reader(user_data);
        reader.guard([&] {
            reader.lexical_handler_->comment(text, 0, static_cast<int>(std::char_traits<char>::length(text)));
        });
    }

    static void start_cdata(void* user_data) {
        ExpatReader& reader = get_reader(user_data);
        reader.guard([&] { reader.lexical_handler_->startCDATA(); });
    }

    static void end_cdata(void* user_data) {
        ExpatReader& reader = get_reader(user_data);
        reader.guard([&] { reader.lexical_handler_->endCDATA(); });
    }

    static void start_document_type(void* user_data, const XML_Char* /*name*/, const XML_Char* /*system_id*/,
                                    const XML_Char* /*public_id*/, int /*has_internal_subset*/) {
        get_reader(user_data).guard([] { throw RequestLimitException("document type declarations are refused"); });
    }
};

ExpatReader::~ExpatReader() = default;

void ExpatReader::parseMemoryNP(const char* xml, std::size_t size) {
    if (size > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
        throw RequestLimitException("the text is too large");
    }
    const std::unique_ptr<XML_ParserStruct, decltype(&XML_ParserFree)> parser(
        XML_ParserCreateNS(nullptr, NAME_SEPARATOR), &XML_ParserFree);
    if (parser == nullptr) {
        throw std::bad_alloc();
    }
    parser_ = parser.get();
    XML_SetUserData(parser_, this);
    XML_SetReturnNSTriplet(parser_, 1);
    XML_SetElementHandler(parser_, Callbacks::start_element, Callbacks::end_element);
    XML_SetCharacterDataHandler(parser_, Callbacks::character_data);
    XML_SetProcessingInstructionHandler(parser_, Callbacks::processing_instruction);
    XML_SetCommentHandler(parser_, Callbacks::comment);
    XML_SetCdataSectionHandler(parser_, Callbacks::start_cdata, Callbacks::end_cdata);
    XML_SetStartDoctypeDeclHandler(parser_, Callbacks::start_document_type);
    XML_SetUnknownEncodingHandler(parser_, handle_unknown_encoding, nullptr);

    const XML_Status status = XML_Parse(parser_, xml, static_cast<int>(size), XML_TRUE);
    if (failure_) {
        std::rethrow_exception(failure_);
    }
    if (status != XML_STATUS_OK) {
        throw Poco::XML::XMLException(XML_ErrorString(XML_GetErrorCode(parser_)));
    }
}

template <class Action>
void ExpatReader::guard(Action action) noexcept {
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

void ExpatReader::start_element(const char* name, const char** attributes) {
    if (depth_ == MAXIMUM_DEPTH) {
        throw RequestLimitException("elements nest too deep");
    }
    ++depth_;
    names_.startElement(name, attributes, XML_GetSpecifiedAttributeCount(parser_) / 2, content_handler_);
}

void ExpatReader::end_element(const char* name) {
    --depth_;
    names_.endElement(name, content_handler_);
}

void ExpatReader::setProperty(const Poco::XML::XMLString& property, void* value) {
    if (property == PROPERTY_LEXICAL_HANDLER) {
        lexical_handler_ = static_cast<Poco::XML::LexicalHandler*>(value);
    }
}

bool ExpatReader::getFeature(const Poco::XML::XMLString& feature) const {
    return feature == FEATURE_NAMESPACES || feature == FEATURE_NAMESPACE_PREFIXES;
}

void ExpatReader::setFeature(const Poco::XML::XMLString& feature, bool /*state*/) {
    throw Poco::XML::SAXNotSupportedException("feature", feature);
}

void ExpatReader::setProperty(const Poco::XML::XMLString& property, const Poco::XML::XMLString& /*value*/) {
    throw Poco::XML::SAXNotSupportedException("property", property);
}

void* ExpatReader::getProperty(const Poco::XML::XMLString& property) const {
    throw Poco::XML::SAXNotSupportedException("property", property);
}

void ExpatReader::parse(Poco::XML::InputSource* /*source*/) {
    throw Poco::XML::SAXNotSupportedException("parse a source");
}

void ExpatReader::parse(const Poco::XML::XMLString& /*system_id*/) {
    throw Poco::XML::SAXNotSupportedException("parse a system");
}

}  // namespace kx::information_model::opc
