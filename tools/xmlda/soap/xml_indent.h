#pragma once

#include <string>
#include <string_view>

namespace xmlda {

/// Puts each element of a document on a line of its own, indented by its depth; elements that hold only text
/// stay on one line. For people to look at: markup and texts are otherwise unchanged. A text that is no XML
/// comes back as it is, as far as it is none.
std::string indent_xml(std::string_view document);

}  // namespace xmlda
