#include <information_model/Variable.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <type_traits>
#include <utility>
#include <variant>

#include "model/Observers.h"
#include "model/TreeLock.h"

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

std::uint8_t encode_writable(std::optional<bool> writable) noexcept {
    if (!writable) {
        return 0;
    }
    return *writable ? 2 : 1;
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

}  // namespace

Variable::Variable(std::string name, Domain* parent, Value initial, VariableOptions options)
    : Item(std::move(name), parent, ITEM_TYPE::VARIABLE, std::move(options.description)),
      value_(std::move(initial)),
      timestamp_(get_current_time()),
      modified_timestamp_(timestamp_),
      quality_(check_quality(options.quality)),
      writable_(encode_writable(options.writable)) {
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
    if (value.get_type_info() != get_value_type_info()) {
        throw BadValueTypeException();
    }
    const bool is_changed = !is_same_content(value_, value);
    detail::Deliveries deliveries;
    if (extension_) {
        deliveries = extension_->observers.create_deliveries(*this, value, restrain, is_changed);
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

Variable& Variable::operator=(Value value) {
    set_value(std::move(value), CALLBACK_RESTRAIN::UNRESTRAINED, true);
    return *this;
}

std::optional<bool> Variable::get_writable() const noexcept {
    if (writable_ == 0) {
        return std::nullopt;
    }
    return writable_ == 2;
}

void Variable::set_guard(Guard guard) {
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
    check_symbol(quality);
    if (quality != quality_) {
        quality_ = quality;
        modified_timestamp_ = get_current_time();
    }
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

Registration Variable::on_change(Callback callback) {
    return Registration(get_extension().observers.add(detail::Observers::Kind::CHANGED, std::move(callback)));
}

Registration Variable::on_write(Callback callback) {
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

}  // namespace kx::information_model
