#pragma once

#include <information_model/Item.h>
#include <information_model/Registration.h>
#include <information_model/SymbolInfo.h>
#include <information_model/TimePoint.h>
#include <information_model/Value.h>
#include <information_model/export.h>
#include <information_model/symbol_lists.h>

#include <concepts>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>

namespace kx::information_model {

/// Which observers a write may reach.
enum class CALLBACK_RESTRAIN : std::uint8_t {
    NO_CALLBACKS = 0,  ///< none
    CHANGED = 1,       ///< those of `on_change`, if the content differs
    WRITTEN = 2,       ///< those of `on_write`
    UNRESTRAINED = 3   ///< both
};

/// The limits of a variable's value, each of which may be absent.
struct Range {
    std::optional<Value> lower = {};  ///< the lowest value to be expected
    std::optional<Value> upper = {};  ///< the highest value to be expected
};

class Variable;

/// Checks a value that a client writes: called with the variable, which is still unchanged, and the value,
/// which has the declared type.
///
/// True stores the value, which the guard may have changed (for example brought into the range): clients then
/// and observers see what is stored. False refuses it: the variable stays as it is, and the client gets the
/// reply for an item that may not be written. An exception, whose text goes to the standard error stream, and
/// a value that the guard gave another type refuse it as well. A client that resets the variable writes the
/// type's default content, which the guard checks, too. The guard does not check writes of the host.
///
/// It runs on a thread of the server **while that holds the tree's exclusive lock**: all clients and the host
/// wait for it. So it must
/// - not take the tree's lock, shared or exclusive, nor wait for a thread that may want it: that never ends;
/// - not wait for anything else either: no input or output, no other lock that is held for long, no logging;
/// - not add or remove items, nor end registrations, nor write the variable itself; other variables may be
///   written, and their observers are called after the release, as always.
/// Do longer work in an observer (`Variable::on_write`), which runs without the lock.
using Guard = std::function<bool(const Variable& variable, Value& value)>;

/// The options of a variable. What is not given is absent and takes no memory.
struct VariableOptions {
    std::string description = {};               ///< for people
    std::optional<bool> writable = {};          ///< whether clients may write; absent means no
    std::string engineering_unit = {};          ///< for example "degC"
    Range range = {};                           ///< informs clients only
    std::optional<Value> delta = {};            ///< smallest change worth reporting; informs clients only
    std::optional<int> fractional_digits = {};  ///< how many digits after the point to show
    std::optional<symbol_list::HISTORY_KIND> history_kind = {};  ///< whether a history is kept
    symbol_list::QUALITY quality = symbol_list::QUALITY::GOOD;   ///< the quality at first
    Guard accept = {};  ///< checks a client's value before it is stored; empty: accepts all
};

/// What `Variable::update` changes.
struct VariableUpdate {
    std::optional<Value> value = {};                   ///< absent: stays
    std::optional<symbol_list::QUALITY> quality = {};  ///< absent: stays
    std::optional<TimePoint> timestamp = {};           ///< absent: the current time, if there is a value
};

/// What `Variable::modify` can edit: arrays, except those of symbols, which belong to a list.
template <class T>
concept ModifiableContent = ValueAlternative<T> && detail::ContentType<T>::IS_ARRAY &&
    !std::is_same_v<typename detail::ContentType<T>::Scalar, SymbolInfo>;

namespace detail {
/// @throws BadValueTypeException  naming the variable, its type and the one that was wanted
[[noreturn]] KX_INFORMATION_MODEL_EXPORT void throw_other_type(const Variable& variable,
                                                               ValueTypeInfo wanted);
}  // namespace detail

/// A leaf of the tree: a typed value with quality, timestamps and metadata.
///
/// Everything but construction requires the tree lock: shared to ask, exclusive to change. Before a server
/// runs on the model, and with one thread only, no lock is needed.
class KX_INFORMATION_MODEL_EXPORT Variable final : public Item {
public:
    /// Called with the variable's absolute path and the value that was written.
    using Callback = std::function<void(const Path&, const Value&)>;

    ~Variable() override;

    /// The current value; the reference is valid while the lock is held.
    const Value& get_value() const noexcept { return value_; }

    /// Replaces the value.
    ///
    /// The modification timestamp is set only when the content really changes (a NaN equals itself here,
    /// and 0.0 differs from -0.0), so that refreshing an unchanged value reaches no subscriber. Observers
    /// are called after the exclusive lock is released, or at once when this thread does not hold it.
    /// @param value      of exactly the declared type; nothing is converted
    /// @param restrain   which observers are called
    /// @param stamp_time whether the timestamp becomes the current time
    /// @throws BadValueTypeException  if the value's descriptor differs from the declared one, if its content
    /// is
    ///                                not what its descriptor says, or if a symbol belongs to another list
    ///                                than the variable's; nothing is then changed
    void set_value(Value value, CALLBACK_RESTRAIN restrain, bool stamp_time);

    /// `set_value(value, CALLBACK_RESTRAIN::UNRESTRAINED, true)`.
    Variable& operator=(Value value);

    /// Changes value, quality and timestamp together: all, or nothing if it throws. The value is set as by
    /// `operator=`.
    /// @throws BadValueTypeException  as `set_value`
    /// @throws std::invalid_argument  as `set_quality`
    void update(VariableUpdate changes);

    /// Edits an array in place, which is cheaper than replacing it:
    /// `variable.modify<std::vector<double>>([](std::vector<double>& levels) { levels[3] = 0.5; })`.
    ///
    /// Counts as a write that changes the content; an edit that returns a bool says by it whether it does. If
    /// the edit throws, the exception is passed on, and what it did until then stays as a modification that
    /// calls no observer; where there are observers to call, nothing is changed then, because they need a
    /// copy anyway.
    /// @tparam T     the array's type
    /// @param  edit  called once with the array; must not use the variable otherwise
    /// @throws BadValueTypeException  if the variable is of another type
    template <ModifiableContent T, class Edit>
    requires std::invocable<Edit&, T&>
    void modify(Edit&& edit) {
        const auto apply = [&edit](ValueContent& content) {
            T& array = *std::get_if<T>(&content);
            if constexpr (std::is_same_v<std::invoke_result_t<Edit&, T&>, bool>) {
                return edit(array);
            } else {
                edit(array);
                return true;
            }
        };
        using Apply = decltype(apply);
        modify_content(
            get_type_info_of<T>(),
            [](const void* context, ValueContent& content) {
                return (*static_cast<Apply*>(context))(content);
            },
            &apply);
    }

    /// The declared type: that of the initial value.
    const ValueTypeInfo& get_value_type_info() const noexcept { return value_.get_type_info(); }

    /// Whether clients may write; absent means no.
    std::optional<bool> get_writable() const noexcept;
    /// Metadata may change at any time. This does not modify the value and calls no observer: clients
    /// see it when they ask for the property.
    void set_writable(std::optional<bool> writable);

    /// Replaces the guard that the options gave; an empty one removes it.
    /// Requires: exclusive tree lock held once a server runs, and not called by the guard itself.
    void set_guard(Guard guard);

    /// Whether the guard accepts `value`, which it may change; true without a guard.
    /// Called by the server before it stores what a client wrote.
    ///
    /// Requires: exclusive tree lock held; `value` has the declared type.
    /// Exceptions of the guard are passed on.
    bool apply_guard(Value& value) const;

    /// The quality, a symbol of "common.Quality".
    SymbolInfo get_quality() const;
    /// A new quality counts as a modification, but calls no observer. The same one does not count.
    /// @throws std::invalid_argument  if the list has no such quality; nothing changes then
    void set_quality(symbol_list::QUALITY quality);

    /// When the value was last set, changed or not.
    TimePoint get_timestamp() const noexcept { return timestamp_; }
    /// Replaces the timestamp alone, which does not count as a modification.
    void set_timestamp(TimePoint timestamp);
    /// When content or quality last changed; at first the time of construction.
    TimePoint get_modified_timestamp() const noexcept { return modified_timestamp_; }

    /// The range; without limits when none was given.
    const Range& get_range() const noexcept;
    /// @throws BadValueTypeException  if a limit is not of the variable's scalar type; nothing is then
    /// changed
    void set_range(Range range);
    /// The smallest change worth reporting.
    const std::optional<Value>& get_delta() const noexcept;
    /// @throws BadValueTypeException  if it is not of the variable's scalar type; nothing is then changed
    void set_delta(std::optional<Value> delta);
    /// How many digits after the point to show.
    std::optional<int> get_fractional_digits() const noexcept;
    /// Replaces the number of digits.
    void set_fractional_digits(std::optional<int> digits);
    /// The unit; empty when none was given.
    const std::string& get_engineering_unit() const noexcept;
    /// Replaces the unit.
    void set_engineering_unit(std::string unit);
    /// Whether a history is kept, a symbol of "common.HistoryKind".
    std::optional<SymbolInfo> get_history_kind() const;
    /// @throws std::invalid_argument  if the list has no such kind; nothing is then changed
    void set_history_kind(std::optional<symbol_list::HISTORY_KIND> kind);

    /// Registers an observer of writes that change the content.
    ///
    /// Observers run without the tree lock, so they may take it and write. An exception from one goes to
    /// the standard error stream and stops nothing. A write made by an observer is delivered after the
    /// deliveries that were already due. Calls of one observer never overlap; when several threads write,
    /// they may come in another order than the writes, because each thread makes the calls of its own writes.
    /// Requires: exclusive tree lock held once a server runs.
    /// @return the registration, which ends with its destruction
    /// @throws std::invalid_argument  if the callback is empty
    [[nodiscard]] Registration on_change(Callback callback);
    /// Registers an observer of every write, changing or not. As `on_change` otherwise.
    [[nodiscard]] Registration on_write(Callback callback);

private:
    friend class Domain;
    struct Extension;
    struct Limits;

    Variable(std::string name, Domain* parent, Value initial, VariableOptions options);

    using Modification = bool (*)(const void* context, ValueContent& content);

    const Limits& get_limits() const noexcept;
    Extension& get_extension();
    void set_limits(Range range, std::optional<Value> delta);
    void check_value(const Value& value) const;
    void modify_content(ValueTypeInfo type, Modification modification, const void* context);
    bool is_observed() const noexcept;
    void commit_value(Value value, CALLBACK_RESTRAIN restrain, bool stamp_time);

    Value value_;
    TimePoint timestamp_;
    TimePoint modified_timestamp_;
    std::unique_ptr<Extension> extension_;  // null when there is no metadata and no observer
    symbol_list::QUALITY quality_;
    std::optional<bool> writable_;
};

}  // namespace kx::information_model
