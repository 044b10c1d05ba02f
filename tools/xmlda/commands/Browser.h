#pragma once

#include "client/requests.h"
#include "xmlda/commands/BrowseNode.h"
#include "xmlda/print/Console.h"
#include "xmlda/print/Progress.h"
#include "xmlda/soap/Client.h"

#include <string>
#include <vector>

namespace xmlda {

/// Collects the elements of a branch, and of all branches below it if told so. It follows continuation
/// points, and does not walk in circles where a server's branches lead back to one they are below. Lives for
/// one command.
class Browser {
public:
    struct Options {
        bool recursive = false;
        bool with_properties = false;
        std::vector<std::string> names;  ///< of the properties that are wanted, if not all
    };

    Browser(Client& client, Console& console, Options options);

    /// Adds the elements below `address` to `nodes`. A fault about a branch further down is reported on the
    /// console, and the others are gone into all the same.
    /// @throws Failure  what `Client::call` throws, for the first branch also a fault; UNEXPECTED_CONTENT for
    ///                  a server that continues without end. `nodes` then holds what was found until then
    void collect(const ItemAddress& address, std::vector<BrowseNode>& nodes);

private:
    void add_elements(const ItemAddress& address, std::vector<BrowseNode>& nodes);
    void go_into(const std::string& path, BrowseNode& node);
    void collect_below(const ItemAddress& address, BrowseNode& node);
    void show_progress();

    Client& client_;
    Console& console_;
    Progress progress_;
    const Options options_;
    std::vector<ItemAddress> way_;  // from the first branch to the present one
    std::size_t branches_ = 0;
    std::size_t elements_ = 0;
};

}  // namespace xmlda
