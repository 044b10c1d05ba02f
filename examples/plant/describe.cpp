#include "describe.h"

#include <algorithm>
#include <concepts>
#include <sstream>
#include <variant>

namespace plant {
namespace {

using namespace kx::information_model;

constexpr std::size_t LONGEST_LINE = 200;
constexpr std::size_t LONGEST_ARRAY = 20;

std::string get_symbol_name(const SymbolInfo& symbol) {
    return symbol_list::get_symbol(symbol.get_symbols(), symbol.get_value()).name;
}

/// Writes one content, whichever it is.
class Writer {
public:
    explicit Writer(std::ostream& stream) : stream_(stream) {}

    void operator()(bool content) const { stream_ << (content ? "true" : "false"); }
    void operator()(signed char content) const { stream_ << static_cast<int>(content); }
    void operator()(unsigned char content) const { stream_ << static_cast<int>(content); }
    void operator()(const std::string& content) const { stream_ << '"' << content << '"'; }
    void operator()(Duration content) const { stream_ << to_iso8601_string(content); }
    void operator()(TimePoint content) const { stream_ << to_iso8601_string(content); }
    void operator()(const Path& content) const { stream_ << content; }
    void operator()(const AbsolutePath& content) const { stream_ << content.as_string(); }
    void operator()(const SymbolInfo& content) const { stream_ << get_symbol_name(content); }
    void operator()(std::monostate) const {}

    template <class Number>
    requires std::integral<Number> || std::floating_point<Number>
    void operator()(Number content) const { stream_ << content; }

    template <class Member>
    void operator()(const std::vector<Member>& content) const {
        const std::size_t count = std::min(content.size(), LONGEST_ARRAY);
        stream_ << '[';
        for (std::size_t i = 0; i < count; ++i) {
            stream_ << (i == 0 ? "" : ", ");
            (*this)(content[i]);
        }
        stream_ << (count < content.size() ? ", ...]" : "]");
    }

private:
    std::ostream& stream_;
};

bool is_control_character(char character) {
    const auto code = static_cast<unsigned char>(character);
    return code < 0x20 || code == 0x7F;
}

}  // namespace

std::string describe(const Value& value) {
    std::ostringstream stream;
    std::visit(Writer(stream), static_cast<const ValueContent&>(value));
    std::string line = stream.str();
    if (line.size() > LONGEST_LINE) {
        line.replace(LONGEST_LINE, std::string::npos, "...");
    }
    std::replace_if(line.begin(), line.end(), is_control_character, '?');
    return line;
}

}  // namespace plant
