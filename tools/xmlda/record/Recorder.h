#pragma once

#include "xmlda/print/item_output.h"
#include "xmlda/record/Database.h"

#include <chrono>
#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace xmlda {

/// Adds changes to a database. What `commit` has returned for survives the end of the program, however it
/// ends.
class Recorder {
public:
    /// @param retention  how long changes are kept; for ever if there is none
    /// @throws Failure   FAILURE: the file cannot be used
    Recorder(const std::string& file, std::optional<std::chrono::milliseconds> retention);

    /// Remembers a change for the next `commit`.
    void add(const ItemAddress& address, const ShownItem& item);

    /// Stores what was added in one transaction, and takes out some of what is too old. The last change
    /// before the age is kept of each item, so that its value is known from then on.
    /// @return the number of changes stored
    /// @throws Failure  FAILURE: it cannot be stored; nothing of it is then
    std::size_t commit();

private:
    struct Change {
        ItemAddress address;
        ShownItem item;
    };

    struct KnownItem {
        std::int64_t id = 0;
        std::string unit = {};
        std::optional<int> digits = {};
    };

    std::int64_t find_item(const ItemAddress& address, const ItemFacts& facts);
    void store(const Change& change, std::int64_t recorded, std::int64_t number);
    bool is_trim_due() const;
    void trim(std::int64_t now);

    const Database database_;
    const std::optional<std::chrono::milliseconds> retention_;
    Statement find_item_;
    Statement add_item_;
    Statement set_facts_;
    Statement add_change_;
    Statement next_item_;
    Statement find_last_;
    Statement remove_;
    std::vector<Change> pending_;
    std::map<std::pair<std::string, std::string>, KnownItem> items_;
    std::int64_t latest_ = 0;        // when the latest transaction was, so that the next one is later
    std::int64_t trimmed_item_ = 0;  // all up to this one are free of what is too old
    std::optional<std::chrono::steady_clock::time_point> trimmed_at_;  // when all items were
};

}  // namespace xmlda
