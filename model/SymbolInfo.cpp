#include <information_model/SymbolInfo.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace kx::information_model {

SymbolInfo::Concept::~Concept() = default;

void SymbolInfo::set_value(unsigned int position) {
    std::unique_ptr<Concept> state = state_->clone();
    state->set_value(position);
    state_ = std::move(state);
}

void SymbolInfo::set_value(const std::string& name) {
    std::unique_ptr<Concept> state = state_->clone();
    state->set_value(name);
    state_ = std::move(state);
}

const std::string& SymbolInfo::get_name() const {
    return symbol_list::get_symbol(get_symbols(), get_value()).name;
}

bool operator==(const SymbolInfo& left, const SymbolInfo& right) {
    return left.state_ == right.state_ ||
           (left.get_value() == right.get_value() && left.get_list_name() == right.get_list_name());
}

namespace symbol_list {

std::uint32_t get_value_at(const std::vector<Symbol>& symbols, unsigned int position) {
    if (position >= symbols.size()) {
        throw std::invalid_argument("Unknown symbol value.");
    }
    return symbols[position].value;
}

std::uint32_t get_value_of(const std::vector<Symbol>& symbols, const std::string& name) {
    const auto found = std::find_if(symbols.begin(), symbols.end(),
                                    [&name](const Symbol& symbol) { return symbol.name == name; });
    if (found == symbols.end()) {
        throw std::invalid_argument("Unknown symbol name.");
    }
    return found->value;
}

const Symbol& get_symbol(const std::vector<Symbol>& symbols, std::uint32_t value) {
    const auto found = std::find_if(symbols.begin(), symbols.end(),
                                    [value](const Symbol& symbol) { return symbol.value == value; });
    if (found == symbols.end()) {
        throw std::invalid_argument("Unknown symbol value.");
    }
    return *found;
}

}  // namespace symbol_list

}  // namespace kx::information_model
