// Bodies in chunks, beside a reader that looks at whole lines. The first byte of an input is how many bytes
// the connection delivers at a time, the rest is what it delivers.

#include "require.h"
#include "support/TextSource.h"

#include "base/LimitException.h"
#include "http/RequestBody.h"

#include <Poco/Net/NetException.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

namespace kx::fuzz {

namespace {

using namespace information_model::opc;

constexpr std::size_t MAXIMUM_SIZE = 1000;

struct Outcome {
    enum class KIND { READ, REFUSED, TOO_LARGE };

    KIND kind = KIND::REFUSED;
    std::string body;
    std::string rest;

    bool operator==(const Outcome&) const = default;
};

Outcome read_with_library(const std::string& text, std::size_t piece) {
    testing::TextSource source(text, piece);
    try {
        std::string body = read_chunks(source, MAXIMUM_SIZE);
        return {Outcome::KIND::READ, std::move(body), source.get_rest()};
    } catch (const RequestLimitException&) {
        return {Outcome::KIND::TOO_LARGE, "", ""};
    } catch (const Poco::Net::MessageException&) {
        return {};
    }
}

/// Removes a line from the beginning of `text`; nothing if it has no proper end.
std::optional<std::string> take_line(std::string& text) {
    const std::size_t end = text.find_first_of("\r\n");
    if (end == std::string::npos || text.compare(end, 2, "\r\n") != 0) {
        return std::nullopt;
    }
    std::string line = text.substr(0, end);
    text.erase(0, end + 2);
    const bool is_text =
        std::all_of(line.begin(), line.end(), [](unsigned char byte) { return byte >= 32 || byte == '\t'; });
    return is_text ? std::optional<std::string>(line) : std::nullopt;
}

/// The size at the beginning of a line; nothing if there is none, or none that 64 bits hold.
std::optional<std::uint64_t> find_size(const std::string& line) {
    const std::size_t end = line.find_first_not_of("0123456789abcdefABCDEF");
    std::string digits = line.substr(0, end);
    if (digits.empty() ||
        (end != std::string::npos && std::string_view("; \t").find(line[end]) == std::string_view::npos)) {
        return std::nullopt;
    }
    digits.erase(0, std::min(digits.find_first_not_of('0'), digits.size()));
    if (digits.size() > 16) {
        return std::nullopt;
    }
    return std::strtoull(digits.c_str(), nullptr, 16);
}

Outcome read_lines(std::string text) {
    std::string body;
    while (true) {
        const auto line = take_line(text);
        const auto found = line ? find_size(*line) : std::nullopt;
        if (!found) {
            return {};
        }
        const std::uint64_t size = *found;
        if (size == 0) {
            break;
        }
        if (size > MAXIMUM_SIZE - body.size()) {
            return {Outcome::KIND::TOO_LARGE, "", ""};
        }
        if (text.size() < size + 2 || text.compare(size, 2, "\r\n") != 0) {
            return {};
        }
        body += text.substr(0, size);
        text.erase(0, size + 2);
    }
    while (const auto line = take_line(text)) {
        if (line->empty()) {
            return {Outcome::KIND::READ, body, text};
        }
    }
    return {};
}

}  // namespace

}  // namespace kx::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace kx::fuzz;
    if (size == 0) {
        return 0;
    }
    const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
    const Outcome outcome = read_with_library(text, std::max<std::size_t>(1, *data));
    require(outcome == read_lines(text), "a body in chunks is read as it stands", text);
    return 0;
}
