#pragma once

#include <information_model/Domain.h>

#include <cstddef>
#include <string>
#include <vector>

namespace kx::benchmarks {

/// How many variables of each type there are, and children in the widest domain.
inline constexpr std::size_t TYPE_VARIABLES = 1000;
inline constexpr std::size_t WIDE_CHILDREN = 10000;

/// Builds what a measured host publishes:
///
/// | path                           | items                                                              |
/// |--------------------------------|--------------------------------------------------------------------|
/// | "/bulk/<index / 1000>/v<index>" | `variables` writable doubles                                       |
/// | "/types/<type>/v<index>"       | `TYPE_VARIABLES` variables for each of `get_type_names()`           |
/// | "/wide/w<index>"               | `WIDE_CHILDREN` doubles with description and engineering unit      |
void build_tree(information_model::Domain& root, std::size_t variables);

/// The value types that are measured: scalars by the name of their type, arrays as "10 doubles".
const std::vector<std::string>& get_type_names();

/// Path of the `index`-th double.
std::string create_item_name(std::size_t index);

/// Path of the `index`-th variable of a type.
std::string create_item_name(const std::string& type_name, std::size_t index);

}  // namespace kx::benchmarks
