#pragma once

#include "client/replies.h"

#include <string>
#include <vector>

namespace xmlda {

/// What browsing found: an element, and what is below it as far as it was gone into.
struct BrowseNode {
    BrowseElement element;
    std::string note;  ///< why it was not gone into although it has children; mostly empty
    std::vector<BrowseNode> children;
};

}  // namespace xmlda
