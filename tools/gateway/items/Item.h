#pragma once

#include "client/Value.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace gateway {

/// What the server said about an item at one moment.
struct ItemState {
    enum class Kind {
        UNKNOWN,     ///< not asked yet, or the server did not answer
        MISSING,     ///< there is no such item
        BRANCH,      ///< there is one, but it has no value
        UNREADABLE,  ///< there is one whose value the server cannot send
        VARIABLE
    };

    Kind kind = Kind::UNKNOWN;
    xmlda::Value value;  ///< as clients get it, see `to_published_value`
    std::string quality;
    std::string timestamp;

    /// Whether a client that watches is to be told. A mere new timestamp is no change.
    bool differs_from(const ItemState& other) const {
        return kind != other.kind || quality != other.quality || value != other.value;
    }
};

/// What hardly ever changes about a variable.
struct ItemFacts {
    std::string type;  ///< without prefix, "double" or "ArrayOfDouble"
    bool is_writable = false;
    std::optional<double> low;   ///< of the range
    std::optional<double> high;  ///< of the range
    std::vector<std::string> symbols;
};

/// An item that somebody watches or read lately. Lives as long as the table or somebody else holds it.
struct Item {
    explicit Item(std::string given_path) : path(std::move(given_path)) {}

    const std::string path;
    ItemState state;
    ItemFacts facts;
    std::uint64_t change = 0;       ///< the number of the change that `state` came with
    std::uint64_t read_number = 0;  ///< of the request that `state` came with, see `ItemTable::update`
    unsigned watchers = 0;          ///< how many subscriptions and pages have it
    bool is_subscribed = false;     ///< the server tells when it changes
    std::size_t counted_bytes = 0;  ///< by the table that holds it; 0 outside of one
};

}  // namespace gateway
