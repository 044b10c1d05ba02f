#include "Host.h"

#include <chrono>
#include <mutex>
#include <shared_mutex>
#include <vector>

namespace xmlda::testing {
namespace {

using namespace kx::information_model;
using namespace std::chrono_literals;
using symbol_list::HISTORY_KIND;

const TimePoint FIXED_TIME = std::chrono::sys_days(2026y / 1 / 2) + 3h + 4min + 5s;

void add_boiler(Domain& root) {
    Domain& boiler =
        root.add_domain("boiler", {.description = "Steam boiler 1", .identity = Identity("B-001")});
    boiler.add_variable("temperature", Value(21.5), {.engineering_unit = "degC", .fractional_digits = 1});
    boiler.add_variable("setpoint", Value(180.0),
                        {.writable = true, .range = {.lower = Value(0.0), .upper = Value(400.0)}});
    boiler.add_variable("zones", Value(std::vector<double>{1.5, 2.5}));
    boiler.add_variable("kind", Value(SymbolInfo(HISTORY_KIND::HISTORY_AVAILABLE)), {.writable = true});
    boiler.add_variable("burner", Value(true), {.writable = true});
    boiler.add_variable("bytes", Value(std::vector<unsigned char>{1, 200}), {.writable = true});
}

void add_texts(Domain& root) {
    Domain& texts = root.add_domain("texts");
    texts.add_variable("note", Value("two\nlines"), {.writable = true});
    texts.add_variable("list", Value(std::vector<std::string>{"a, b", "", "c"}), {.writable = true});
    texts.add_variable("pause", Value(Duration(90s)), {.writable = true});
}

}  // namespace

Host::Host() {
    const std::unique_lock lock(server_.get_tree());
    add_boiler(server_.get_root());
    add_texts(server_.get_root());
    for (const char* const path :
         {"boiler/temperature", "boiler/setpoint", "boiler/zones", "boiler/kind", "boiler/burner",
          "boiler/bytes", "texts/note", "texts/list", "texts/pause"}) {
        get_variable(path).set_timestamp(FIXED_TIME);
    }
}

void Host::set(const std::string& path, const Value& value) {
    const std::unique_lock lock(server_.get_tree());
    get_variable(path) = value;
    get_variable(path).set_timestamp(FIXED_TIME);
}

void Host::add(const std::string& name, const Value& value) {
    const std::unique_lock lock(server_.get_tree());
    get_texts().add_variable(name, value).set_timestamp(FIXED_TIME);
}

void Host::remove(const std::string& name) {
    const std::unique_lock lock(server_.get_tree());
    get_texts().remove(name);
}

void Host::set_quality(const std::string& path, symbol_list::QUALITY quality) {
    const std::unique_lock lock(server_.get_tree());
    get_variable(path).set_quality(quality);
}

Value Host::get(const std::string& path) {
    const std::shared_lock<const Tree> lock(server_.get_tree());
    return get_variable(path).get_value();
}

Domain& Host::get_texts() {
    return static_cast<Domain&>(static_cast<Item&>(server_.get_root()).get_item(Path("texts"), false));
}

Variable& Host::get_variable(const std::string& path) {
    return static_cast<Variable&>(static_cast<Item&>(server_.get_root()).get_item(Path(path), false));
}

}  // namespace xmlda::testing
