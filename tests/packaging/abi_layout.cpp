#include <information_model/AbsolutePath.h>
#include <information_model/Domain.h>
#include <information_model/Duration.h>
#include <information_model/Identity.h>
#include <information_model/InformationModel.h>
#include <information_model/Item.h>
#include <information_model/Path.h>
#include <information_model/PatternType.h>
#include <information_model/Registration.h>
#include <information_model/SymbolInfo.h>
#include <information_model/SymbolList.h>
#include <information_model/TimePoint.h>
#include <information_model/Tree.h>
#include <information_model/Value.h>
#include <information_model/ValueTypeInfo.h>
#include <information_model/Variable.h>
#include <information_model/exceptions.h>
#include <information_model/symbol_lists.h>
#include <opc/Server.h>

#include <cstddef>
#include <iostream>
#include <memory>
#include <string_view>

// Prints how large the classes are that programs place in their own memory, and where the members lie that
// they fill themselves. A program that was compiled with other numbers cannot use the libraries.
namespace {

using namespace kx::information_model;

template <class T>
void print_size(std::string_view name) {
    std::cout << name << ": " << sizeof(T) << " bytes, aligned to " << alignof(T) << '\n';
}

template <class Whole, class Member>
void print_offset(std::string_view name, Member Whole::*member) {
    const Whole whole{};
    const auto distance = reinterpret_cast<const std::byte*>(std::addressof(whole.*member)) -
                          reinterpret_cast<const std::byte*>(std::addressof(whole));
    std::cout << "  " << name << ": at " << distance << '\n';
}

void print_values() {
    print_size<Value>("Value");
    print_size<ValueTypeInfo>("ValueTypeInfo");
    print_size<VALUE_TYPE>("VALUE_TYPE");
    print_size<SymbolInfo>("SymbolInfo");
    print_size<Duration>("Duration");
    print_size<TimePoint>("TimePoint");
    print_size<Path>("Path");
    print_size<AbsolutePath>("AbsolutePath");
    print_size<Identity>("Identity");
    print_size<pattern_type::PatternType>("PatternType");
    print_size<symbol_list::QUALITY>("QUALITY");
    print_size<symbol_list::HISTORY_KIND>("HISTORY_KIND");
    print_size<symbol_list::Symbol>("Symbol");
    print_offset("value", &symbol_list::Symbol::value);
    print_offset("name", &symbol_list::Symbol::name);
    print_offset("description", &symbol_list::Symbol::description);
}

void print_tree() {
    print_size<InformationModel>("InformationModel");
    print_size<Tree>("Tree");
    print_size<Item>("Item");
    print_size<Domain>("Domain");
    print_size<Variable>("Variable");
    print_size<Registration>("Registration");
    print_size<CALLBACK_RESTRAIN>("CALLBACK_RESTRAIN");
}

void print_options() {
    print_size<DomainOptions>("DomainOptions");
    print_offset("description", &DomainOptions::description);
    print_offset("identity", &DomainOptions::identity);
    print_offset("pattern_type", &DomainOptions::pattern_type);
    print_size<Range>("Range");
    print_offset("lower", &Range::lower);
    print_offset("upper", &Range::upper);
    print_size<VariableOptions>("VariableOptions");
    print_offset("description", &VariableOptions::description);
    print_offset("writable", &VariableOptions::writable);
    print_offset("engineering_unit", &VariableOptions::engineering_unit);
    print_offset("range", &VariableOptions::range);
    print_offset("delta", &VariableOptions::delta);
    print_offset("fractional_digits", &VariableOptions::fractional_digits);
    print_offset("history_kind", &VariableOptions::history_kind);
    print_offset("quality", &VariableOptions::quality);
    print_offset("accept", &VariableOptions::accept);
}

void print_exceptions() {
    print_size<BadValueTypeException>("BadValueTypeException");
    print_size<InvalidPathException>("InvalidPathException");
    print_size<PathNotFoundException>("PathNotFoundException");
}

}  // namespace

int main() {
    print_values();
    print_tree();
    print_options();
    print_exceptions();
    print_size<opc::Server>("Server");
}
