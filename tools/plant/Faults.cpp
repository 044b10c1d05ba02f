#include "Faults.h"

#include "Arguments.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <type_traits>
#include <variant>

namespace plant {
namespace {

using namespace kx::information_model;
using std::chrono::milliseconds;
using symbol_list::QUALITY;

template <class Content>
constexpr bool IS_NUMBER = std::is_arithmetic_v<Content> && !std::is_same_v<Content, bool>;

const ValueContent& get_content(const Value& value) {
    return value;
}

bool is_number(const Value& value) {
    return std::visit([](const auto& content) { return IS_NUMBER<std::decay_t<decltype(content)>>; },
                      get_content(value));
}

/// The number as near to it as the type allows.
template <class Number>
Number to_number(double number) {
    if constexpr (std::is_floating_point_v<Number>) {
        return static_cast<Number>(number);
    } else {
        using Limits = std::numeric_limits<Number>;
        if (number >= static_cast<double>(Limits::max())) {
            return Limits::max();
        }
        return number <= static_cast<double>(Limits::min()) ? Limits::min() : static_cast<Number>(number);
    }
}

/// The number plus `by`; anything else as it is.
Value add(const Value& value, double by) {
    return std::visit(
        [&](const auto& content) {
            using Content = std::decay_t<decltype(content)>;
            if constexpr (IS_NUMBER<Content>) {
                return Value(to_number<Content>(static_cast<double>(content) + by));
            } else {
                return value;
            }
        },
        get_content(value));
}

void set(Variable& variable, const Value& value) {
    variable.set_value(value, CALLBACK_RESTRAIN::NO_CALLBACKS, false);
}

QUALITY get_quality(const Variable& variable) {
    return static_cast<QUALITY>(variable.get_quality().get_value());
}

Variable* find_variable(Domain& root, const std::string& path) {
    try {
        return root.find_variable(path);
    } catch (const InvalidPathException&) {
        return nullptr;
    }
}

}  // namespace

Faults::Faults(Domain& root, FaultSchedule schedule) : schedule_(std::move(schedule)) {
    for (const Fault& fault : schedule_.get_faults()) {
        Entry entry{.fault = fault};
        if (!fault.item.empty()) {
            entry.variable = find_variable(root, fault.item);
            if (entry.variable == nullptr) {
                throw ArgumentError("the plant has no variable '" + fault.item + "' that could fail");
            }
            if (fault.kind == Fault::Kind::JUMP && !is_number(entry.variable->get_value())) {
                throw ArgumentError("'" + fault.item + "' cannot jump: it is not a number");
            }
        }
        entries_.push_back(std::move(entry));
    }
}

bool Faults::begin_step(milliseconds step) {
    for (Entry& entry : entries_) {
        if (entry.is_active && entry.variable != nullptr) {
            if (entry.variable->get_value() != entry.shown) {
                entry.original = entry.variable->get_value();  // a client has written it
            }
            set(*entry.variable, entry.original);
            entry.variable->set_quality(entry.quality);
        }
    }
    now_ = (now_ + step) % schedule_.get_period();
    bool is_frozen = false;
    bool is_served = true;
    for (Entry& entry : entries_) {
        const bool is_due = entry.fault.begin <= now_ && now_ < entry.fault.get_end();
        if (entry.is_active && !is_due) {
            end(entry);
        } else if (!entry.is_active && is_due) {
            begin(entry);
        }
        is_frozen = is_frozen || (is_due && entry.fault.kind == Fault::Kind::FREEZE);
        is_served = is_served && !(is_due && entry.fault.kind == Fault::Kind::DROP);
    }
    is_served_ = is_served;
    return is_frozen;
}

void Faults::end_step() {
    for (Entry& entry : entries_) {
        if (!entry.is_active || entry.variable == nullptr) {
            continue;
        }
        entry.original = entry.variable->get_value();
        entry.quality = get_quality(*entry.variable);
        if (entry.fault.kind == Fault::Kind::JUMP) {
            entry.shown = add(entry.original, entry.fault.by);
        } else {
            entry.variable->set_quality(QUALITY::BAD_SENSOR_FAILURE);
        }
        set(*entry.variable, entry.shown);
    }
}

void Faults::begin(Entry& entry) {
    entry.is_active = true;
    news_.push_back("fault begins: " + describe(entry.fault));
    if (entry.variable != nullptr) {
        entry.shown = entry.variable->get_value();
    }
}

void Faults::end(Entry& entry) {
    entry.is_active = false;
    news_.push_back("fault ends: " + describe(entry.fault));
}

}  // namespace plant
