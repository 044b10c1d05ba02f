#include "xmlda/commands/select_items.h"

#include "client/property_names.h"
#include "xmlda/Failure.h"
#include "xmlda/commands/Browser.h"

#include <algorithm>
#include <functional>
#include <set>
#include <utility>

#include <fnmatch.h>

namespace xmlda {
namespace {

constexpr std::string_view WILD = "*?";
constexpr char ANY_DEPTH[] = "**";

/// The place of the first character that stands for others.
std::size_t find_wild(const std::string& pattern) {
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        if (pattern[i] == '\\') {
            ++i;
        } else if (WILD.find(pattern[i]) != std::string_view::npos) {
            return i;
        }
    }
    return std::string::npos;
}

/// For `fnmatch`, to which brackets mean something.
std::string escape_brackets(const std::string& pattern) {
    std::string escaped;
    for (const char character : pattern) {
        escaped += character == '[' ? "\\[" : std::string(1, character);
    }
    return escaped;
}

/// The name as the pattern has it: with or without a "/" in front.
std::string align(const std::string& pattern, const std::string& name) {
    return !pattern.starts_with('/') && name.starts_with('/') ? name.substr(1) : name;
}

/// Whether the server says of what type the element's value is. Branches have none, though some servers call
/// them items.
bool has_type(const BrowseElement& element) {
    return std::any_of(element.properties.begin(), element.properties.end(), [](const Property& property) {
        return property.name == property_names::DATA_TYPE && property.value;
    });
}

/// Walks over branches and takes the items that are wanted.
class Walk {
public:
    using Choice = std::function<bool(const std::string& name)>;

    /// @param takes     whether an item is wanted
    /// @param descends  whether wanted items may be below a branch
    Walk(Client& client, Console& console, Choice takes, Choice descends)
        : browser_(client, console, {.names = {property_names::DATA_TYPE}}),
          takes_(std::move(takes)),
          descends_(std::move(descends)) {}

    void go(const ItemAddress& branch) {
        if (std::find(way_.begin(), way_.end(), branch) != way_.end() || way_.size() == DEEPEST) {
            return;
        }
        way_.push_back(branch);
        std::vector<BrowseNode> nodes;
        browser_.collect(branch, nodes);
        for (const BrowseNode& node : nodes) {
            const BrowseElement& element = node.element;
            const ItemAddress address{element.item_name,
                                      element.item_path.empty() ? branch.path : element.item_path};
            if (element.is_item && takes_(address.name)) {
                found_.push_back(address);
                has_types_.push_back(has_type(element));
            }
            if (element.has_children && !address.name.empty() && descends_(address.name)) {
                go(address);
            }
        }
        way_.pop_back();
    }

    /// All, or those with types where the server says them.
    std::vector<ItemAddress> get_found() const {
        if (std::find(has_types_.begin(), has_types_.end(), true) == has_types_.end()) {
            return found_;
        }
        std::vector<ItemAddress> typed;
        for (std::size_t i = 0; i < found_.size(); ++i) {
            if (has_types_[i]) {
                typed.push_back(found_[i]);
            }
        }
        return typed;
    }

private:
    static constexpr std::size_t DEEPEST = 100;

    Browser browser_;
    const Choice takes_;
    const Choice descends_;
    std::vector<ItemAddress> way_;
    std::vector<ItemAddress> found_;
    std::vector<bool> has_types_;  // of those found
};

bool always(const std::string& /*name*/) {
    return true;
}

std::vector<ItemAddress> find_matching(Client& client, Console& console, const ItemAddress& pattern) {
    Walk walk(
        client, console, [&](const std::string& name) { return matches_pattern(pattern.name, name); },
        [&](const std::string& name) { return may_match_below(pattern.name, name); });
    walk.go({"", pattern.path});
    return walk.get_found();
}

/// All items below a branch; what is no branch stands for itself.
std::vector<ItemAddress> find_below(Client& client, Console& console, const ItemAddress& address) {
    Walk walk(client, console, always, always);
    try {
        walk.go(address);
    } catch (const ServerFault&) {
        return {address};  // some servers do so for what is no branch
    }
    auto found = walk.get_found();
    return found.empty() ? std::vector{address} : found;
}

/// Items that several patterns and branches have stand once in the result.
/// @param on_no_match  called with a pattern that no item matches
template <class Action>
std::vector<ItemAddress> select(Client& client, const Arguments& arguments, Console& console,
                                Action on_no_match) {
    std::vector<ItemAddress> items;
    std::set<std::pair<std::string, std::string>> known;
    for (const ItemAddress& item : arguments.items) {
        const bool is_chosen = is_pattern(item.name) || arguments.recursive;
        std::vector<ItemAddress> found = {item};
        if (is_pattern(item.name)) {
            found = find_matching(client, console, item);
            if (found.empty()) {
                on_no_match(item);
            }
        } else if (arguments.recursive) {
            found = find_below(client, console, item);
        }
        for (ItemAddress& address : found) {
            if (known.emplace(address.name, address.path).second || !is_chosen) {
                items.push_back(std::move(address));
            }
        }
    }
    return items;
}

}  // namespace

bool is_pattern(const std::string& name) {
    return find_wild(name) != std::string::npos;
}

bool matches_pattern(const std::string& pattern, const std::string& name) {
    const int flags = pattern.find(ANY_DEPTH) == std::string::npos ? FNM_PATHNAME : 0;
    return ::fnmatch(escape_brackets(pattern).c_str(), align(pattern, name).c_str(), flags) == 0;
}

bool may_match_below(const std::string& pattern, const std::string& name) {
    const std::string aligned = align(pattern, name);
    const std::string fixed = pattern.substr(0, find_wild(pattern));
    const bool is_on_the_way = fixed.starts_with(aligned) || aligned.starts_with(fixed);
    const bool is_deep =
        pattern.find(ANY_DEPTH) != std::string::npos ||
        std::count(aligned.begin(), aligned.end(), '/') < std::count(pattern.begin(), pattern.end(), '/') ||
        aligned.find('/') == std::string::npos;
    return is_on_the_way && is_deep;
}

std::vector<ItemAddress> select_items(Client& client, const Arguments& arguments, Console& console) {
    return select(client, arguments, console, [](const ItemAddress& pattern) {
        throw Failure(ExitStatus::MISSING_ITEM, "'" + pattern.name + "': no item matches");
    });
}

std::vector<ItemAddress> select_items_again(Client& client, const Arguments& arguments, Console& console) {
    return select(client, arguments, console, [](const ItemAddress& /*pattern*/) {});
}

bool has_choice(const Arguments& arguments) {
    return arguments.recursive || std::any_of(arguments.items.begin(), arguments.items.end(),
                                              [](const ItemAddress& item) { return is_pattern(item.name); });
}

std::string explain_missing(Client& client, Console& console, const ItemAddress& address) {
    return is_branch(client, console, address)
               ? "is a branch: -r takes all items below it, '" + address.name + "/*' those in it"
               : "missing from the reply: the server does not know it";
}

bool is_branch(Client& client, Console& console, const ItemAddress& address) {
    std::vector<BrowseNode> nodes;
    try {
        Browser(client, console, {}).collect(address, nodes);
    } catch (const Failure&) {
        return false;
    }
    return !nodes.empty();
}

}  // namespace xmlda
