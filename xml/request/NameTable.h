#pragma once

#include "xml/XmlName.h"

#include <Poco/AutoPtr.h>
#include <Poco/XML/NamePool.h>

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>

namespace kx::information_model::opc {

/// Separates namespace, local name and prefix in expat's names. No name holds it.
inline constexpr char NAME_SEPARATOR = '\t';

/// Takes a name of expat's apart.
/// @param expat_name  "local", "uri<separator>local" or "uri<separator>local<separator>prefix"
XmlName split_expat_name(std::string_view expat_name);

/// The names of requests, each taken apart once: a list of a thousand items has four.
///
/// Setting up a table costs as much as a small request, so that a thread keeps one for its next request (see
/// `ThreadCache`), unless its clients have put more into it than clients in good faith do. Used by one
/// thread.
class NameTable {
public:
    /// How many different names a request can have at least, unless they are chosen to be slow to find.
    /// Requests in good faith have some twenty.
    static constexpr std::size_t MAXIMUM_REQUEST_NAMES = 127;

    NameTable();

    /// @return the same object for the same name, for as long as the table lives
    /// @throws Poco::PoolOverflowException  if the name is new, and the table full or many of its names
    /// collide
    ///                                      with it
    const XmlName& get(std::string_view expat_name);

    /// Whether it is small, and has room for the names of one more request.
    bool is_worth_keeping() const noexcept;

    /// Where a DOM keeps the names of attributes that become nodes, and that of all elements.
    Poco::XML::NamePool& get_pool() noexcept { return const_cast<Poco::XML::NamePool&>(*pool_); }

private:
    /// Of the end of a name: most begin with the same namespace. A client can choose names that collide, so
    /// their number is bounded.
    struct Hash {
        using is_transparent = void;
        std::size_t operator()(std::string_view name) const noexcept;
    };

    Poco::AutoPtr<Poco::XML::NamePool> pool_;
    std::unordered_map<std::string, XmlName, Hash, std::equal_to<>> names_;
    std::size_t size_ = 0;  // of all names, in bytes
};

}  // namespace kx::information_model::opc
