#include "xml/request/ExpatParser.h"

#include "xml/request/NameTable.h"

#include <cstddef>
#include <new>

namespace kx::information_model::opc {

namespace {

// One that has parsed nothing takes some 10 KB.
constexpr std::size_t LARGEST_FRESH_SIZE = std::size_t{64} * 1024;

}  // namespace

ExpatParser::ExpatParser() : parser_(create(memory_)) {}

ExpatParser::Owner ExpatParser::create(ExpatMemory& memory) {
    memory.limit(LARGEST_FRESH_SIZE);
    const ExpatMemory::Use use(memory);
    Owner parser(XML_ParserCreate_MM(nullptr, &ExpatMemory::FUNCTIONS, &NAME_SEPARATOR), &XML_ParserFree);
    if (parser == nullptr) {
        throw std::bad_alloc();
    }
    return parser;
}

bool ExpatParser::reset() noexcept {
    return XML_ParserReset(get(), nullptr) == XML_TRUE && !memory_.uses_system();
}

}  // namespace kx::information_model::opc
