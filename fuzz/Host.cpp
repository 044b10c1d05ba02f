#include "Host.h"

#include <information_model/Domain.h>
#include <information_model/Variable.h>

#include <chrono>
#include <limits>
#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>

namespace {

enum class Mode { OFF = 0, AUTOMATIC = 1, MANUAL = 7 };

}  // namespace

template <>
struct kx::information_model::symbol_list::SymbolList<Mode> {
    static const std::string& get_list_name() {
        static const std::string LIST_NAME = "fuzz.Mode";
        return LIST_NAME;
    }
    static const std::vector<Symbol>& get_symbols() {
        static const std::vector<Symbol> SYMBOLS = {
            {0, "off", ""}, {1, "auto<matic>", "by \xFF itself"}, {7, "manual", "\x01"}};
        return SYMBOLS;
    }
};

namespace kx::fuzz {

using namespace information_model;
using namespace std::chrono_literals;

namespace {

const TimePoint A_TIME{1'000'000'000'123'456'789ns};

void add_each(Domain& domain, std::vector<Value> values) {
    std::string name = "a";
    for (Value& value : values) {
        domain.add_variable(name, std::move(value), {.writable = true});
        ++name[0];
    }
}

}  // namespace

Host::Host() : model_(std::make_shared<InformationModel>("fuzz")) {
    add_scalars();
    add_arrays();
    add_metadata();
    add_observers();
    add_odd_texts();
    Domain& root = model_->get_root();
    Domain& read_only = root.add_domain("r");
    read_only.add_variable("v", Value(1.5), {.writable = false});
    read_only.add_variable("n", Value("nobody said"));
    root.add_variable("bad", Value(1, ValueTypeInfo(VALUE_TYPE::STRING, false)), {.writable = true});
    root.add_variable("t", Value(0), {.writable = true});
}

Host::~Host() = default;

void Host::add_scalars() {
    add_each(
        model_->get_root().add_domain("s", {.description = "scalars"}),
        {Value(true), Value("text"), Value(2.5), Value(0.1F), Value(-5L), Value(42), Value(short{-2}),
         Value(static_cast<signed char>(-56)), Value(5UL), Value(7U), Value(static_cast<unsigned short>(9)),
         Value(static_cast<unsigned char>(200)), Value(A_TIME), Value(Duration(1500ms)), Value(Path("/s/a")),
         Value(AbsolutePath("host", "tree", "/s/a")), Value(SymbolInfo(Mode::AUTOMATIC))});
}

void Host::add_arrays() {
    constexpr double INFINITE = std::numeric_limits<double>::infinity();
    add_each(
        model_->get_root().add_domain("v", {.pattern_type = pattern_type::collection(pattern_type::ANY)}),
        {Value(std::vector<bool>{true, false}), Value(std::vector<std::string>{"a", ""}),
         Value(std::vector<double>{INFINITE, -INFINITE, std::numeric_limits<double>::quiet_NaN()}),
         Value(std::vector<float>{}), Value(std::vector<long>{1, -1}), Value(std::vector<int>{1, 2, 3}),
         Value(std::vector<short>{1}), Value(std::vector<signed char>{-1}),
         Value(std::vector<unsigned long>{1}), Value(std::vector<unsigned int>{1}),
         Value(std::vector<unsigned short>{1}), Value(std::vector<unsigned char>{200, 7}),
         Value(std::vector<TimePoint>{A_TIME, TimePoint::min()}),
         Value(std::vector<Duration>{Duration(-1ns)}), Value(std::vector<Path>{Path("."), Path("a/b")}),
         Value(std::vector<AbsolutePath>{AbsolutePath("", "", "x")}),
         Value(std::vector<SymbolInfo>{SymbolInfo(Mode::MANUAL)})});
}

void Host::add_metadata() {
    Domain& domain = model_->get_root().add_domain("m", {.description = "with <metadata>",
                                                         .identity = Identity("M-1"),
                                                         .pattern_type = pattern_type::DEVICE});
    domain.add_variable("all", Value(21.5),
                        {.description = "\"all\" & more",
                         .writable = true,
                         .engineering_unit = "\xC2\xB0"
                                             "C",
                         .range = {.lower = Value(0.0), .upper = Value(400.0)},
                         .delta = Value(0.5),
                         .fractional_digits = 1,
                         .history_kind = symbol_list::HISTORY_KIND::HISTORY_AVAILABLE,
                         .quality = symbol_list::QUALITY::UNCERTAIN});
    domain.add_variable("some", Value(SymbolInfo(Mode::OFF)),
                        {.range = {.upper = Value("no number")}, .fractional_digits = -1});
}

void Host::add_observers() {
    Domain& domain = model_->get_root().add_domain("o");
    Variable& copied = domain.add_variable("copied", Value(0), {.writable = true});
    Variable& copy = domain.add_variable("copy", Value(0));
    Variable& refused = domain.add_variable("refused", Value("a"), {.writable = true});
    Variable& once = domain.add_variable("once", Value("a"), {.writable = true});
    registrations_.reserve(3);
    registrations_.push_back(copied.on_change([&copy](const Path& /*path*/, const Value& value) {
        const std::unique_lock<Tree> lock(copy);
        copy = value;
    }));
    registrations_.push_back(refused.on_write([](const Path& path, const Value& /*value*/) {
        throw std::runtime_error("refused " + path.as_string());
    }));
    registrations_.push_back(once.on_change([this, &once](const Path& /*path*/, const Value& /*value*/) {
        const std::unique_lock<Tree> lock(once);
        registrations_.pop_back();
    }));
}

void Host::add_odd_texts() {
    Domain& odd = model_->get_root().add_domain(
        "x", {.description = "\xC0\x80 is not UTF-8", .identity = Identity("\xED\xA0\x80")});
    odd.add_variable("<&\"'>", Value("\xFF\xFE<\x01]]>\r\n\t"), {.description = "\xEF\xBF\xBF"});
    odd.add_variable("\xE6\xB8\xA9\xE5\xBA\xA6", Value(std::string("a\0b", 3)), {.writable = true});
    odd.add_variable(" ", Value(std::vector<std::string>{"\x80", "\r"}), {.engineering_unit = "\x7F\xC2"});
    Domain* domain = &odd;
    for (int depth = 0; depth < 8; ++depth) {
        domain = &domain->add_domain("d");
    }
}

void Host::turn() {
    Domain& root = model_->get_root();
    const std::unique_lock<Tree> lock(root);
    ++turns_;
    static_cast<Variable&>(root.get_item(Path("/t"), false)) = Value(turns_);
    if (turns_ % 2 == 1) {
        root.add_domain("gone").add_variable("v", Value(turns_), {.writable = true});
    } else {
        root.remove("gone");
    }
}

}  // namespace kx::fuzz
