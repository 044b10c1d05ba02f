#include <information_model/Value.h>

#include <type_traits>

namespace kx::information_model {

static_assert(std::is_nothrow_move_constructible_v<ValueContent> &&
                  std::is_nothrow_move_assignable_v<ValueContent>,
              "a write is committed by an assignment that cannot fail half-way");

namespace {

template <class T>
struct Tag {
    using Type = T;
};

/// Calls `action` with the tag of the scalar alternative of `type`; does nothing for a type without content.
template <class Action>
void with_scalar_alternative(VALUE_TYPE type, Action&& action) {
    switch (type) {
        case VALUE_TYPE::BOOLEAN:
            return action(Tag<bool>());
        case VALUE_TYPE::STRING:
            return action(Tag<std::string>());
        case VALUE_TYPE::DOUBLE:
            return action(Tag<double>());
        case VALUE_TYPE::FLOAT:
            return action(Tag<float>());
        case VALUE_TYPE::LONG:
            return action(Tag<long>());
        case VALUE_TYPE::INT:
            return action(Tag<int>());
        case VALUE_TYPE::SHORT:
            return action(Tag<short>());
        case VALUE_TYPE::BYTE:
            return action(Tag<signed char>());
        case VALUE_TYPE::UNSIGNED_LONG:
            return action(Tag<unsigned long>());
        case VALUE_TYPE::UNSIGNED_INT:
            return action(Tag<unsigned int>());
        case VALUE_TYPE::UNSIGNED_SHORT:
            return action(Tag<unsigned short>());
        case VALUE_TYPE::UNSIGNED_BYTE:
            return action(Tag<unsigned char>());
        case VALUE_TYPE::DATE_TIME:
            return action(Tag<TimePoint>());
        case VALUE_TYPE::DURATION:
            return action(Tag<Duration>());
        case VALUE_TYPE::PATH:
            return action(Tag<Path>());
        case VALUE_TYPE::ABSOLUTE_PATH:
            return action(Tag<AbsolutePath>());
        case VALUE_TYPE::SYMBOL:
            return action(Tag<SymbolInfo>());
        case VALUE_TYPE::DECIMAL:
        case VALUE_TYPE::ATTACHMENT:
            break;
    }
}

template <class T>
const T& get_member(const Value& value, ValueTypeInfo expected) {
    const T* content = std::get_if<T>(&value);
    if (value.get_type_info() != expected || content == nullptr) {
        throw BadValueTypeException();
    }
    return *content;
}

template <class T>
std::vector<T> collect_members(const std::vector<Value>& members) {
    std::vector<T> contents;
    contents.reserve(members.size());
    for (const Value& member : members) {
        contents.push_back(get_member<T>(member, get_type_info_of<T>()));
    }
    return contents;
}

Value make_array(const std::vector<Value>& members) {
    Value result{std::vector<std::string>()};
    if (members.empty()) {
        return result;
    }
    bool is_made = false;
    with_scalar_alternative(members.front().get_type_info().get_type(), [&](auto tag) {
        result = Value(collect_members<typename decltype(tag)::Type>(members));
        is_made = true;
    });
    if (!is_made) {
        throw BadValueTypeException();
    }
    return result;
}

template <class T>
T get_default_content() {
    if constexpr (std::is_same_v<T, Path>) {
        return Path(".");
    } else if constexpr (std::is_same_v<T, AbsolutePath>) {
        return AbsolutePath("", "", "/");
    } else {
        return T();
    }
}

}  // namespace

Value::Value(const std::vector<Value>& members) : Value(make_array(members)) {}

Value::Value(const Value& other) = default;
Value::Value(Value&& other) noexcept = default;
Value::~Value() = default;

Value& Value::operator=(Value other) noexcept {
    ValueContent::operator=(static_cast<ValueContent&&>(other));
    type_info_ = other.type_info_;
    return *this;
}

void Value::reset() {
    with_scalar_alternative(type_info_.get_type(), [this](auto tag) {
        using Scalar = typename decltype(tag)::Type;
        if (type_info_.is_array()) {
            emplace<std::vector<Scalar>>();
        } else if constexpr (!std::is_same_v<Scalar, SymbolInfo>) {
            emplace<Scalar>(get_default_content<Scalar>());
        } else if (auto* symbol = std::get_if<SymbolInfo>(this)) {
            symbol->reset();
        }
    });
}

bool operator==(const Value& left, const Value& right) {
    return left.type_info_ == right.type_info_ &&
           static_cast<const ValueContent&>(left) == static_cast<const ValueContent&>(right);
}

}  // namespace kx::information_model
