#include "xmlda/commands/Browser.h"

#include "xmlda/Failure.h"

#include <algorithm>

namespace xmlda {
namespace {

constexpr std::size_t DEEPEST =
    100;  // branches below each other; deeper only for a server that makes them up

}  // namespace

Browser::Browser(Client& client, Console& console, Options options)
    : client_(client),
      console_(console),
      progress_(console.is_error_terminal() ? &console.get_errors() : nullptr),
      options_(std::move(options)) {}

void Browser::collect(const ItemAddress& address, std::vector<BrowseNode>& nodes) {
    add_elements(address, nodes);
    if (!options_.recursive) {
        return;
    }
    way_.push_back(address);
    for (BrowseNode& node : nodes) {
        if (node.element.has_children) {
            go_into(address.path, node);
        }
    }
    way_.pop_back();
}

void Browser::add_elements(const ItemAddress& address, std::vector<BrowseNode>& nodes) {
    std::string continuation_point;
    bool has_more = true;
    while (has_more) {
        const Request request =
            options_.names.empty()
                ? create_browse_request(address, options_.with_properties, continuation_point)
                : create_browse_request(address, options_.names, continuation_point);
        BrowseReply reply = client_.call(request, parse_browse_reply);
        for (BrowseElement& element : reply.elements) {
            nodes.push_back({std::move(element), "", {}});
        }
        elements_ += reply.elements.size();
        show_progress();

        has_more = reply.has_more && !reply.continuation_point.empty();
        if (has_more && reply.elements.empty() && reply.continuation_point == continuation_point) {
            throw Failure(ExitStatus::UNEXPECTED_CONTENT, "the server continues the branch '" + address.name +
                                                              "' again and again at the same point");
        }
        if (reply.has_more && !has_more) {
            progress_.wipe();
            console_.report(ExitStatus::MISSING_ITEM,
                            "'" + address.name +
                                "' is not complete: the server has more elements, but "
                                "does not say how to get them");
        }
        continuation_point = reply.continuation_point;
    }
    ++branches_;
}

/// @param path  the item path of the branch that the node is in
void Browser::go_into(const std::string& path, BrowseNode& node) {
    const BrowseElement& element = node.element;
    const ItemAddress address{element.item_name, element.item_path.empty() ? path : element.item_path};
    if (address.name.empty()) {
        node.note = "(has no item name)";
    } else if (std::find(way_.begin(), way_.end(), address) != way_.end()) {
        node.note = "(contains itself)";
    } else if (way_.size() == DEEPEST) {
        node.note = "(too deep)";
    } else {
        collect_below(address, node);
    }
}

void Browser::collect_below(const ItemAddress& address, BrowseNode& node) {
    const std::size_t depth = way_.size();
    try {
        collect(address, node.children);
    } catch (const ServerFault& fault) {
        way_.resize(depth);
        progress_.wipe();
        console_.report(Failure(fault.get_status(), address.name + ": " + fault.what()));
    }
}

void Browser::show_progress() {
    progress_.show("browsed " + std::to_string(branches_) + " branches, " + std::to_string(elements_) +
                   " elements");
}

}  // namespace xmlda
