#pragma once

#include "xmlda/Arguments.h"
#include "xmlda/print/Console.h"
#include "xmlda/soap/Client.h"

#include <vector>

namespace xmlda {

/// The items that the arguments of read or watch mean: those of patterns, and with `recursive` those below
/// branches, are looked for by browsing.
/// @throws Failure  MISSING_ITEM: nothing matches a pattern; what `Client::call` throws
std::vector<ItemAddress> select_items(Client& client, const Arguments& arguments, Console& console);

/// The same later on: a pattern may have lost all its items.
std::vector<ItemAddress> select_items_again(Client& client, const Arguments& arguments, Console& console);

/// Whether the arguments leave it to the server which items there are.
bool has_choice(const Arguments& arguments);

/// Why an item is missing from a reply: the server may have a branch of this name.
std::string explain_missing(Client& client, Console& console, const ItemAddress& address);

/// Whether the server has something below this name.
bool is_branch(Client& client, Console& console, const ItemAddress& address);

/// Whether an item's name has "*" or "?" in it that stand for others.
bool is_pattern(const std::string& name);

/// Whether the name matches: "*" stands for any characters but "/", "**" for any, "?" for one; behind a
/// backslash they stand for themselves. A "/" at the beginning may be missing in the pattern.
bool matches_pattern(const std::string& pattern, const std::string& name);

/// Whether items below a branch of this name may match.
bool may_match_below(const std::string& pattern, const std::string& name);

}  // namespace xmlda
