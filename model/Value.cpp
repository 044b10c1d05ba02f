#include <information_model/Value.h>

#include <array>
#include <charconv>
#include <ostream>
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

void append_text(std::string& text, bool content) {
    text += content ? "true" : "false";
}

template <class T>
requires std::is_arithmetic_v<T>
void append_text(std::string& text, T content) {
    std::array<char, 32> digits;  // the shortest form of a double takes 24 at most
    text.append(digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), content).ptr);
}

void append_text(std::string& text, const std::string& content) {
    text += content;
}

void append_text(std::string& text, const Duration& content) {
    text += to_iso8601_string(content);
}

void append_text(std::string& text, const TimePoint& content) {
    text += to_iso8601_string(content);
}

void append_text(std::string& text, const Path& content) {
    text += content.as_string();
}

void append_text(std::string& text, const AbsolutePath& content) {
    text += content.as_string();
}

void append_text(std::string& text, const SymbolInfo& content) {
    text += content.get_name();
}

void append_text(std::string& /*text*/, std::monostate /*content*/) {}

template <class T>
void append_text(std::string& text, const std::vector<T>& content) {
    constexpr bool IS_TEXT = std::is_same_v<T, std::string>;
    text += '[';
    for (std::size_t i = 0; i < content.size(); ++i) {
        text += i == 0 ? "" : ", ";
        text += IS_TEXT ? "\"" : "";
        append_text(text, static_cast<const T&>(content[i]));
        text += IS_TEXT ? "\"" : "";
    }
    text += ']';
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

std::string Value::to_string() const {
    std::string text;
    std::visit([&text](const auto& content) { append_text(text, content); },
               static_cast<const ValueContent&>(*this));
    return text;
}

std::ostream& operator<<(std::ostream& stream, const Value& value) {
    return stream << value.to_string();
}

bool operator==(const Value& left, const Value& right) {
    return left.type_info_ == right.type_info_ &&
           static_cast<const ValueContent&>(left) == static_cast<const ValueContent&>(right);
}

}  // namespace kx::information_model
