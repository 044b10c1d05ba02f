#include "load/tree.h"

#include <information_model/symbol_lists.h>

#include <chrono>

namespace kx::benchmarks {

namespace {

using namespace information_model;

struct Type {
    std::string name;
    Value (*create)(std::size_t index);
};

std::string create_name(char letter, std::size_t index) {
    std::string name(1, letter);
    name += std::to_string(index);
    return name;
}

template <class T>
Value create_number(std::size_t index) {
    return Value(static_cast<T>(index));
}

Value create_text(std::size_t index) {
    return Value("value & text " + std::to_string(index));
}

Value create_time(std::size_t index) {
    return Value(TimePoint(std::chrono::seconds(1'700'000'000) + std::chrono::milliseconds(index)));
}

Value create_duration(std::size_t index) {
    return Value(Duration(std::chrono::milliseconds(index)));
}

Value create_path(std::size_t index) {
    return Value(Path(create_item_name(index)));
}

Value create_symbol(std::size_t /*index*/) {
    return Value(SymbolInfo(symbol_list::QUALITY::GOOD));
}

/// Ten members, of which the first is that of `index`.
template <auto create>
Value create_array(std::size_t index) {
    std::vector<Value> members;
    for (std::size_t member = 0; member < 10; ++member) {
        members.push_back(create(index + member));
    }
    return Value(members);
}

const std::vector<Type>& get_types() {
    static const std::vector<Type> types{
        {"boolean", [](std::size_t index) { return Value(index % 2 == 0); }},
        {"byte", create_number<signed char>},
        {"int", create_number<int>},
        {"unsignedLong", create_number<unsigned long>},
        {"float", create_number<float>},
        {"double", create_number<double>},
        {"string", create_text},
        {"dateTime", create_time},
        {"duration", create_duration},
        {"path", create_path},
        {"symbol", create_symbol},
        {"10 ints", create_array<create_number<int>>},
        {"10 doubles", create_array<create_number<double>>},
        {"10 strings", create_array<create_text>},
        {"10 times", create_array<create_time>},
    };
    return types;
}

void build_bulk(Domain& bulk, std::size_t variables) {
    Domain* domain = nullptr;
    for (std::size_t index = 0; index < variables; ++index) {
        if (index % 1000 == 0) {
            domain = &bulk.add_domain(std::to_string(index / 1000));
        }
        domain->add_variable(create_name('v', index), Value(0.5 * static_cast<double>(index)),
                             {.writable = true});
    }
}

void build_types(Domain& domain) {
    for (const Type& type : get_types()) {
        Domain& variables = domain.add_domain(type.name);
        for (std::size_t index = 0; index < TYPE_VARIABLES; ++index) {
            variables.add_variable(create_name('v', index), type.create(index));
        }
    }
}

void build_wide(Domain& wide) {
    for (std::size_t index = 0; index < WIDE_CHILDREN; ++index) {
        wide.add_variable(create_name('w', index), Value(static_cast<double>(index)),
                          {.description = "a variable", .engineering_unit = "degC"});
    }
}

}  // namespace

void build_tree(Domain& root, std::size_t variables) {
    build_bulk(root.add_domain("bulk"), variables);
    build_types(root.add_domain("types"));
    build_wide(root.add_domain("wide"));
}

const std::vector<std::string>& get_type_names() {
    static const std::vector<std::string> names = [] {
        std::vector<std::string> result;
        for (const Type& type : get_types()) {
            result.push_back(type.name);
        }
        return result;
    }();
    return names;
}

std::string create_item_name(std::size_t index) {
    return "/bulk/" + std::to_string(index / 1000) + "/v" + std::to_string(index);
}

std::string create_item_name(const std::string& type_name, std::size_t index) {
    return "/types/" + type_name + "/v" + std::to_string(index);
}

}  // namespace kx::benchmarks
