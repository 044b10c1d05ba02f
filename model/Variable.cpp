#include <information_model/Domain.h>
#include <information_model/Variable.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>

#include "model/Observers.h"
#include "model/TreeLock.h"
#include "model/quoted_text.h"
#include "model/value_types.h"

namespace kx::information_model {

struct Variable::Limits {
    Range range = {};
    std::optional<Value> delta = {};
};

// What most variables lack or have only in part. The limits stand apart because they are large: a unit alone
// is what many variables have.
struct Variable::Extension {
    std::string engineering_unit = {};
    std::unique_ptr<const Limits> limits = {};  // null when none was given
    std::optional<int> fractional_digits = {};
    std::optional<symbol_list::HISTORY_KIND> history_kind = {};
    std::unique_ptr<const Guard> guard = {};  // null when there is none
    detail::Observers observers = {};
};

namespace {

TimePoint get_current_time() noexcept {
    return std::chrono::time_point_cast<std::chrono::nanoseconds>(std::chrono::system_clock::now());
}

template <class E>
void check_symbol(E symbol) {
    symbol_list::get_symbol(symbol_list::SymbolList<E>::get_symbols(), static_cast<std::uint32_t>(symbol));
}

symbol_list::QUALITY check_quality(symbol_list::QUALITY quality) {
    check_symbol(quality);
    return quality;
}

std::unique_ptr<const Guard> make_guard(Guard guard) {
    return guard ? std::make_unique<const Guard>(std::move(guard)) : nullptr;
}

template <class T>
bool is_same(const T& left, const T& right) {
    if constexpr (std::is_floating_point_v<T>) {
        if (std::isnan(left) || std::isnan(right)) {
            return std::isnan(left) && std::isnan(right);
        }
        return left == right && std::signbit(left) == std::signbit(right);
    } else {
        return left == right;
    }
}

template <class T>
bool is_same(const std::vector<T>& left, const std::vector<T>& right) {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](const T& first, const T& second) { return is_same(first, second); });
}

/// Whether a write of `right` over `left` changes nothing that a client could see.
bool is_same_content(const ValueContent& left, const ValueContent& right) {
    return left.index() == right.index() && std::visit(
                                                [&right](const auto& content) {
                                                    using Content = std::remove_cvref_t<decltype(content)>;
                                                    return is_same(content, std::get<Content>(right));
                                                },
                                                left);
}

/// The symbol that stands for the list of a value; null if it has none.
const SymbolInfo* find_symbol(const Value& value) noexcept {
    if (const auto* const array = std::get_if<std::vector<SymbolInfo>>(&value)) {
        return array->empty() ? nullptr : &array->front();
    }
    return std::get_if<SymbolInfo>(&value);
}

bool is_of_same_list(const SymbolInfo& left, const SymbolInfo& right) {
    const std::string& left_name = left.get_list_name();
    const std::string& right_name = right.get_list_name();
    return &left_name == &right_name || left_name == right_name;
}

/// Whether all symbols of `value` belong to the list of `current`; without symbols there, to one list.
bool is_of_same_list(const Value& current, const Value& value) {
    if (value.get_type_info().get_type() != VALUE_TYPE::SYMBOL) {
        return true;
    }
    const SymbolInfo* const new_symbol = find_symbol(value);
    if (new_symbol == nullptr) {
        return true;
    }
    const SymbolInfo* const old_symbol = find_symbol(current);
    const SymbolInfo& expected = old_symbol == nullptr ? *new_symbol : *old_symbol;
    const auto* const array = std::get_if<std::vector<SymbolInfo>>(&value);
    return array == nullptr ? is_of_same_list(expected, *new_symbol)
                            : std::all_of(array->begin(), array->end(), [&](const SymbolInfo& symbol) {
                                  return is_of_same_list(expected, symbol);
                              });
}

std::string describe_variable(const Variable& variable) {
    return "variable " + detail::quoted_text(variable.get_path().as_string());
}

std::string describe_with_list(const Value& value) {
    std::string text = detail::describe_type(value);
    if (const SymbolInfo* const symbol = find_symbol(value)) {
        text += " of list " + detail::quoted_text(symbol->get_list_name());
    }
    return text;
}

}  // namespace

Variable::Variable(std::string name, Domain* parent, Value initial, VariableOptions options)
    : Item(std::move(name), parent, ITEM_TYPE::VARIABLE, std::move(options.description)),
      value_(std::move(initial)),
      timestamp_(get_current_time()),
      modified_timestamp_(timestamp_),
      quality_(check_quality(options.quality)),
      writable_(options.writable) {
    if (options.history_kind) {
        check_symbol(*options.history_kind);
    }
    const bool has_limits = options.range.lower || options.range.upper || options.delta;
    if (has_limits || !options.engineering_unit.empty() || options.fractional_digits ||
        options.history_kind || options.accept) {
        Extension& extension = get_extension();
        extension.engineering_unit = std::move(options.engineering_unit);
        extension.fractional_digits = options.fractional_digits;
        extension.history_kind = options.history_kind;
        extension.guard = make_guard(std::move(options.accept));
    }
    if (has_limits) {
        extension_->limits =
            std::make_unique<const Limits>(Limits{std::move(options.range), std::move(options.delta)});
    }
}

Variable::~Variable() = default;

void Variable::set_value(Value value, CALLBACK_RESTRAIN restrain, bool stamp_time) {
    detail::check_lock(*this);
    check_value(value);
    commit_value(std::move(value), restrain, stamp_time);
}

void Variable::commit_value(Value value, CALLBACK_RESTRAIN restrain, bool stamp_time) {
    const bool is_changed = !is_same_content(value_, value);
    detail::Deliveries deliveries;
    std::shared_ptr<const detail::Written> written;
    if (extension_) {
        extension_->observers.append_deliveries(deliveries, written, *this, value, restrain, is_changed);
    }
    for (const Domain* domain = get_parent(); domain != nullptr; domain = domain->get_parent()) {
        if (domain->observers_) {
            domain->observers_->append_deliveries(deliveries, written, *this, value, restrain, is_changed);
        }
    }

    // From here on nothing fails.
    if (is_changed || stamp_time) {
        const TimePoint now = get_current_time();
        timestamp_ = stamp_time ? now : timestamp_;
        modified_timestamp_ = is_changed ? now : modified_timestamp_;
    }
    if (is_changed) {
        value_ = std::move(value);
    }
    if (!deliveries.empty()) {
        get_tree_lock().post(std::move(deliveries));
    }
}

void Variable::check_value(const Value& value) const {
    if (value.get_type_info() == get_value_type_info() && detail::is_consistent(value) &&
        is_of_same_list(value_, value)) {
        return;
    }
    std::string details = describe_variable(*this) + " is " + describe_with_list(value_);
    details += ", the value is " + describe_with_list(value);
    throw BadValueTypeException(std::move(details));
}

void Variable::update(VariableUpdate changes) {
    detail::check_lock(*this);
    if (changes.quality) {
        check_symbol(*changes.quality);
    }
    if (changes.value) {
        check_value(*changes.value);
        commit_value(std::move(*changes.value), CALLBACK_RESTRAIN::UNRESTRAINED, !changes.timestamp);
    }
    timestamp_ = changes.timestamp.value_or(timestamp_);
    if (changes.quality && *changes.quality != quality_) {
        quality_ = *changes.quality;
        modified_timestamp_ = get_current_time();
    }
}

void Variable::modify_content(ValueTypeInfo type, Modification modification, const void* context) {
    detail::check_lock(*this);
    if (type != get_value_type_info() || !detail::is_consistent(value_)) {
        detail::throw_other_type(*this, type);
    }
    if (is_observed()) {
        Value value = value_;
        modification(context, value);
        commit_value(std::move(value), CALLBACK_RESTRAIN::UNRESTRAINED, true);
        return;
    }
    // Set before the edit, so that what an edit that throws has done is seen.
    const TimePoint modified = std::exchange(modified_timestamp_, get_current_time());
    if (!modification(context, value_)) {
        modified_timestamp_ = modified;
    }
    timestamp_ = get_current_time();
}

bool Variable::is_observed() const noexcept {
    if (extension_ && extension_->observers.is_any_registered()) {
        return true;
    }
    for (const Domain* domain = get_parent(); domain != nullptr; domain = domain->get_parent()) {
        if (domain->observers_ && domain->observers_->is_any_registered()) {
            return true;
        }
    }
    return false;
}

Variable& Variable::operator=(Value value) {
    set_value(std::move(value), CALLBACK_RESTRAIN::UNRESTRAINED, true);
    return *this;
}

std::optional<bool> Variable::get_writable() const noexcept {
    return writable_;
}

void Variable::set_writable(std::optional<bool> writable) {
    detail::check_lock(*this);
    writable_ = writable;
}

void Variable::set_guard(Guard guard) {
    detail::check_lock(*this);
    if (guard || extension_) {
        get_extension().guard = make_guard(std::move(guard));
    }
}

bool Variable::apply_guard(Value& value) const {
    return !extension_ || !extension_->guard || (*extension_->guard)(*this, value);
}

SymbolInfo Variable::get_quality() const {
    return SymbolInfo(quality_);
}

void Variable::set_quality(symbol_list::QUALITY quality) {
    update({.quality = quality});
}

void Variable::set_timestamp(TimePoint timestamp) {
    update({.timestamp = timestamp});
}

const Range& Variable::get_range() const noexcept {
    return get_limits().range;
}

const std::optional<Value>& Variable::get_delta() const noexcept {
    return get_limits().delta;
}

std::optional<int> Variable::get_fractional_digits() const noexcept {
    return extension_ ? extension_->fractional_digits : std::nullopt;
}

const std::string& Variable::get_engineering_unit() const noexcept {
    static const std::string EMPTY;
    return extension_ ? extension_->engineering_unit : EMPTY;
}

std::optional<SymbolInfo> Variable::get_history_kind() const {
    if (!extension_ || !extension_->history_kind) {
        return std::nullopt;
    }
    return SymbolInfo(*extension_->history_kind);
}

void Variable::set_range(Range range) {
    set_limits(std::move(range), get_delta());
}

void Variable::set_delta(std::optional<Value> delta) {
    set_limits(get_range(), std::move(delta));
}

void Variable::set_fractional_digits(std::optional<int> digits) {
    detail::check_lock(*this);
    if (digits || extension_) {
        get_extension().fractional_digits = digits;
    }
}

void Variable::set_engineering_unit(std::string unit) {
    detail::check_lock(*this);
    if (!unit.empty() || extension_) {
        get_extension().engineering_unit = std::move(unit);
    }
}

void Variable::set_history_kind(std::optional<symbol_list::HISTORY_KIND> kind) {
    detail::check_lock(*this);
    if (kind) {
        check_symbol(*kind);
    }
    if (kind || extension_) {
        get_extension().history_kind = kind;
    }
}

Registration Variable::on_change(Callback callback) {
    detail::check_lock(*this);
    return Registration(get_extension().observers.add(detail::Observers::Kind::CHANGED, std::move(callback)));
}

Registration Variable::on_write(Callback callback) {
    detail::check_lock(*this);
    return Registration(get_extension().observers.add(detail::Observers::Kind::WRITTEN, std::move(callback)));
}

const Variable::Limits& Variable::get_limits() const noexcept {
    static const Limits NONE;
    return extension_ && extension_->limits ? *extension_->limits : NONE;
}

Variable::Extension& Variable::get_extension() {
    if (!extension_) {
        extension_ = std::make_unique<Extension>();
    }
    return *extension_;
}

void Variable::set_limits(Range range, std::optional<Value> delta) {
    detail::check_lock(*this);
    const std::string variable = describe_variable(*this);
    const VALUE_TYPE type = get_value_type_info().get_type();
    detail::check_limit("lower limit", range.lower, variable, type);
    detail::check_limit("upper limit", range.upper, variable, type);
    detail::check_limit("delta", delta, variable, type);
    if (range.lower || range.upper || delta) {
        auto limits = std::make_unique<const Limits>(Limits{std::move(range), std::move(delta)});
        get_extension().limits = std::move(limits);
    } else if (extension_) {
        extension_->limits.reset();
    }
}

void detail::throw_other_type(const Variable& variable, ValueTypeInfo wanted) {
    throw BadValueTypeException(describe_variable(variable) + " is " +
                                describe_with_list(variable.get_value()) + ", and is used as " +
                                get_type_name(wanted));
}

}  // namespace kx::information_model
