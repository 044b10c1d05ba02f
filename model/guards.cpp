#include <information_model/guards.h>

#include <algorithm>
#include <cmath>
#include <concepts>
#include <type_traits>
#include <variant>
#include <vector>

namespace kx::information_model {

namespace {

template <class T>
constexpr bool IS_LIMITED =
    std::totally_ordered<T> && !std::is_same_v<T, bool> &&
    (std::is_arithmetic_v<T> || std::is_same_v<T, Duration> || std::is_same_v<T, TimePoint>);

template <class T>
bool is_number(T content) {
    if constexpr (std::is_floating_point_v<T>) {
        return !std::isnan(content);
    } else {
        return true;
    }
}

/// The limits of a range that are of the type `T`, null where there is none.
template <class T>
struct Limits {
    explicit Limits(const Range& range)
        : lower(range.lower ? std::get_if<T>(&*range.lower) : nullptr),
          upper(range.upper ? std::get_if<T>(&*range.upper) : nullptr) {}

    T clamp(T content) const {
        if (lower != nullptr && content < *lower) {
            return *lower;
        }
        return upper != nullptr && *upper < content ? *upper : content;
    }

    const T* lower;
    const T* upper;
};

template <class T>
bool clamp(const Range& range, T& content) {
    if constexpr (IS_LIMITED<T>) {
        content = Limits<T>(range).clamp(content);
        return is_number(content);
    } else {
        return true;
    }
}

template <class T>
bool clamp(const Range& range, std::vector<T>& content) {
    if constexpr (IS_LIMITED<T>) {
        const Limits<T> limits(range);
        std::transform(content.begin(), content.end(), content.begin(),
                       [&limits](T member) { return limits.clamp(member); });
        return std::all_of(content.begin(), content.end(), is_number<T>);
    } else {
        return true;
    }
}

}  // namespace

bool clamp_to_range(const Variable& variable, Value& value) {
    const Range& range = variable.get_range();
    return std::visit([&range](auto& content) { return clamp(range, content); },
                      static_cast<ValueContent&>(value));
}

bool refuse_outside_range(const Variable& variable, Value& value) {
    Value clamped = value;
    return clamp_to_range(variable, clamped) && clamped == value;
}

}  // namespace kx::information_model
