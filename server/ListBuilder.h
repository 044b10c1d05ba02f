#pragma once

#include "server/ReplyElement.h"

#include <Poco/DOM/Element.h>

namespace kx::information_model::opc {

/// While it lives, each child appended to an element is turned into markup at once, and its memory is used
/// again for the next: a list of a million items takes no more than its text and one item.
///
/// Children appended later follow as usual. Until then only what is appended to the list should be made in
/// its document: memory is not used again while an element made meanwhile stays alive.
class ListBuilder {
public:
    /// @param list  made by `create_element`; outlives the builder
    /// @throws std::logic_error  if the element has text or children that are not of a list
    explicit ListBuilder(Poco::XML::Element& list) : list_(static_cast<ReplyElement&>(list)) {
        list_.open_list();
    }
    ListBuilder(const ListBuilder&) = delete;
    ListBuilder& operator=(const ListBuilder&) = delete;
    ~ListBuilder() { list_.close_list(); }

private:
    ReplyElement& list_;
};

}  // namespace kx::information_model::opc
