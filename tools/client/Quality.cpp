#include "client/Quality.h"

#include <algorithm>

namespace xmlda {
namespace {

constexpr char LIMIT[] = ", limit ";
constexpr char VENDOR[] = ", vendor ";

}  // namespace

std::string Quality::to_text() const {
    const Quality ordinary;
    return field + (limit == ordinary.limit ? "" : LIMIT + limit) +
           (vendor == ordinary.vendor ? "" : VENDOR + vendor);
}

Quality to_quality(const std::string& text) {
    Quality quality;
    const std::size_t limit = text.find(LIMIT);
    const std::size_t vendor = text.find(VENDOR);
    quality.field = text.substr(0, std::min(limit, vendor));
    if (limit != std::string::npos) {
        const std::size_t begin = limit + std::string(LIMIT).size();
        quality.limit = text.substr(begin, vendor == std::string::npos ? vendor : vendor - begin);
    }
    if (vendor != std::string::npos) {
        quality.vendor = text.substr(vendor + std::string(VENDOR).size());
    }
    return quality;
}

}  // namespace xmlda
