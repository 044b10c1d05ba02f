#include "xml/request/NameTable.h"

#include <Poco/Exception.h>

#include <cstdint>
#include <cstring>
#include <utility>

namespace kx::information_model::opc {

namespace {

// A client in good faith that uses all services has some forty names, in 1.4 KB. What is kept takes several
// times that: `ThreadCache` says how much it may be.
constexpr std::size_t MAXIMUM_KEPT_NAMES = 44;
constexpr std::size_t MAXIMUM_KEPT_SIZE = std::size_t{2} * 1024;

// Names of a client in good faith collide by twos and threes. A look-up compares with all that do, and each
// may be a kilobyte long.
constexpr std::size_t MAXIMUM_COLLISIONS = 24;

// A hash table, in size a prime number.
constexpr unsigned long POOL_SIZE = 179;
static_assert(POOL_SIZE > MAXIMUM_KEPT_NAMES + NameTable::MAXIMUM_REQUEST_NAMES + 1);

}  // namespace

XmlName split_expat_name(std::string_view expat_name) {
    const std::size_t separator = expat_name.find(NAME_SEPARATOR);
    if (separator == std::string_view::npos) {
        return {.uri = {}, .local_name = std::string(expat_name), .qualified_name = std::string(expat_name)};
    }
    XmlName name{.uri = std::string(expat_name.substr(0, separator)), .local_name = {}, .qualified_name = {}};
    expat_name.remove_prefix(separator + 1);
    const std::size_t prefix_separator = expat_name.find(NAME_SEPARATOR);
    name.local_name = expat_name.substr(0, prefix_separator);
    if (prefix_separator != std::string_view::npos) {
        name.qualified_name.append(expat_name, prefix_separator + 1).append(1, ':');
    }
    name.qualified_name += name.local_name;
    return name;
}

std::size_t NameTable::Hash::operator()(std::string_view name) const noexcept {
    std::uint64_t end = 0;
    if (name.size() >= sizeof end) {
        std::memcpy(&end, name.data() + (name.size() - sizeof end), sizeof end);
    } else {
        std::memcpy(&end, name.data(), name.size());
    }
    constexpr std::uint64_t ODD_FACTOR = 0x9E3779B97F4A7C15U;
    return static_cast<std::size_t>(((end ^ name.size()) * ODD_FACTOR) >> 32U);
}

NameTable::NameTable() : pool_(new Poco::XML::NamePool(POOL_SIZE)) {}

const XmlName& NameTable::get(std::string_view expat_name) {
    const auto known = names_.find(expat_name);
    if (known != names_.end()) {
        return known->second;
    }
    std::string key(expat_name);
    if (names_.size() == MAXIMUM_KEPT_NAMES + MAXIMUM_REQUEST_NAMES ||
        names_.bucket_size(names_.bucket(key)) >= MAXIMUM_COLLISIONS) {
        throw Poco::PoolOverflowException("names of a request");
    }
    size_ += expat_name.size();
    return names_.try_emplace(std::move(key), split_expat_name(expat_name)).first->second;
}

bool NameTable::is_worth_keeping() const noexcept {
    return names_.size() <= MAXIMUM_KEPT_NAMES && size_ <= MAXIMUM_KEPT_SIZE;
}

}  // namespace kx::information_model::opc
