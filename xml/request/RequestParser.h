#pragma once

#include "base/LimitException.h"

#include <Poco/DOM/AutoPtr.h>
#include <Poco/DOM/Document.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace kx::information_model::opc {

/// How deep elements may nest. Requests nest seven deep; a DOM is freed by recursion.
inline constexpr std::size_t MAXIMUM_DEPTH = 128;

/// How many elements there may be: one takes some 200 bytes, and can be written with four. A Write of a
/// million items has two million.
inline constexpr std::size_t MAXIMUM_ELEMENT_COUNT = std::size_t{8} * 1024 * 1024;

/// Longest name of a namespace, in bytes: expat copies it for each attribute that has its prefix.
inline constexpr std::size_t MAXIMUM_NAMESPACE_SIZE = 1024;

/// Parses a request, a text of unknown origin, with expat. The result is a document of `RequestElement`s
/// with the elements, attributes and inner texts that `Poco::XML::DOMParser` finds with namespaces and
/// namespace prefixes on; comments, processing instructions and the borders of CDATA sections are left out.
///
/// POCO's parser cannot be used here: it feeds expat 4 KB at a time, and expat starts each token anew with
/// each piece, so that an attribute of 10 MB takes many seconds; it cannot stop; and an exception that leaves
/// one of its handlers takes memory of expat's with it. This one gives expat the whole text in one call,
/// stops at the first failure, and throws it when expat has returned.
///
/// Refused as they begin are document type declarations, elements nested deeper than `MAXIMUM_DEPTH`, more
/// than `maximum_element_count` elements, names of namespaces longer than `MAXIMUM_NAMESPACE_SIZE`, and what
/// makes expat take more than four bytes of memory for each of the text, and one MiB. The time that it takes
/// is linear in the size of the text.
/// @param text  in UTF-8, or in an encoding that it names; at most as long as the largest int
/// @throws RequestLimitException        on what is refused
/// @throws Poco::XML::XMLException      on what is not well-formed
/// @throws Poco::PoolOverflowException  on more than `NameTable::MAXIMUM_REQUEST_NAMES` different names,
///                                      if there is no room for them from requests before; on two dozen
///                                      names of one length that end in the same eight bytes
Poco::AutoPtr<Poco::XML::Document> parse_request(std::string_view text,
                                                 std::size_t maximum_element_count = MAXIMUM_ELEMENT_COUNT);

/// The same for a text that nobody needs any more: frees it when expat has it, so that text and document are
/// not in memory at a time.
/// @param text  empty afterwards; perhaps as it was if this throws
Poco::AutoPtr<Poco::XML::Document> parse_and_free_request(std::string& text);

}  // namespace kx::information_model::opc
