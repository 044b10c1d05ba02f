// The readers of values beside what they are defined by: the text that POCO finds in the element, read with a
// stream. An input is the texts that stand in an element, for all types at once; its first bytes are also
// numbers to write.

#include "InputReader.h"
#include "codec/text_forms.h"
#include "codec/type_names.h"
#include "codec/value_reader.h"
#include "require.h"
#include "xml/xml_names.h"

#include <information_model/Value.h>

#include <Poco/DOM/AutoPtr.h>
#include <Poco/DOM/CDATASection.h>
#include <Poco/DOM/Comment.h>
#include <Poco/DOM/Document.h>
#include <Poco/DOM/Element.h>
#include <Poco/DOM/Text.h>

#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <locale>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>
#include <vector>

namespace kx::fuzz {

namespace {

using namespace information_model;
using namespace information_model::opc;
using Poco::XML::Element;

template <class T>
T read_with_stream(const std::string& text) {
    std::istringstream stream(text);
    stream.imbue(std::locale::classic());
    T value = 0;
    stream >> value;
    return value;
}

template <class T>
T read_with_oracle(const std::string& text) {
    if constexpr (std::is_same_v<T, std::string>) {
        return text;
    } else if constexpr (std::is_same_v<T, TimePoint>) {
        return date_time_from_iso8601_string(text);
    } else if constexpr (std::is_same_v<T, Duration>) {
        return duration_from_iso8601_string(text);
    } else if constexpr (std::is_same_v<T, signed char>) {
        return static_cast<signed char>(static_cast<unsigned char>(read_with_stream<short>(text) & 0xFF));
    } else if constexpr (std::is_same_v<T, unsigned char>) {
        return static_cast<unsigned char>(read_with_stream<unsigned short>(text) & 0xFF);
    } else {
        return read_with_stream<T>(text);
    }
}

// -0.0 is not 0.0.
template <class T>
bool is_same(const T& left, const T& right) {
    if constexpr (std::is_floating_point_v<T>) {
        return left == right && std::signbit(left) == std::signbit(right);
    } else {
        return left == right;
    }
}

template <class T>
bool is_same(const std::vector<T>& left, const std::vector<T>& right) {
    bool same = left.size() == right.size();
    for (std::size_t index = 0; same && index < left.size(); ++index) {
        same = is_same<T>(left[index], right[index]);
    }
    return same;
}

/// Nothing if the text is refused.
template <class Read>
auto try_read(Read read) -> std::optional<decltype(read())> {
    try {
        return read();
    } catch (const std::invalid_argument&) {
        return std::nullopt;
    }
}

/// Makes elements in a document of its own.
class ElementBuilder {
public:
    Poco::AutoPtr<Element> create(const std::string& uri, const std::string& name) {
        return document_->createElementNS(uri, name);
    }

    /// Gives an element content: texts, sections, comments and elements around texts.
    void fill(Element& element, InputReader& input) {
        for (unsigned count = input.take_byte() % 4 + 1; count > 0; --count) {
            append(element, input.take_byte(), input.take_text());
        }
    }

private:
    void append(Element& element, unsigned kind, const std::string& text) {
        switch (kind % 8) {
            case 0:
                element.appendChild(
                    Poco::AutoPtr<Poco::XML::CDATASection>(document_->createCDATASection(text)));
                break;
            case 1:
                element.appendChild(Poco::AutoPtr<Poco::XML::Comment>(document_->createComment(text)));
                break;
            case 2: {
                Poco::AutoPtr<Element> child = create("", "child");
                append(*child, kind / 8, text);
                element.appendChild(child);
                break;
            }
            default:
                element.appendChild(Poco::AutoPtr<Poco::XML::Text>(document_->createTextNode(text)));
        }
    }

    Poco::AutoPtr<Poco::XML::Document> document_ = new Poco::XML::Document;
};

template <class T>
void check_scalar(const Element& element) {
    const auto actual = try_read([&] { return convert<T>(&element, false); });
    const auto expected = try_read([&] { return read_with_oracle<T>(element.innerText()); });
    require(actual.has_value() == expected.has_value(), "a text is taken by both, or none",
            element.innerText());
    require(!actual || (actual->get_type_info() == get_type_info_of<T>() &&
                        is_same(std::get<T>(*actual), *expected)),
            "a scalar is read as defined: " + get_type_name(get_type_info_of<T>()), element.innerText());
}

/// Appends members of type T, and elements that only look like it; what is expected of them is the result.
template <class T>
std::optional<std::vector<T>> append_members(ElementBuilder& builder, Element& array, InputReader input) {
    const std::string name = get_type_name(get_type_info_of<T>());
    std::optional<std::vector<T>> expected(std::in_place);
    for (unsigned count = input.take_byte() % 6; count > 0; --count) {
        const unsigned kind = input.take_byte();
        const bool is_member = kind % 4 != 0;
        const std::string uri = is_member || kind % 8 == 0 ? xml_namespaces::XMLDA : "urn:other";
        auto member = builder.create(
            uri, (kind % 3 == 0 ? "p:" : "") + (is_member || kind % 8 != 0 ? name : name + "s"));
        builder.fill(*member, input);
        array.appendChild(member);
        if (is_member && expected) {
            const auto value = try_read([&] { return read_with_oracle<T>(member->innerText()); });
            if (value) {
                expected->push_back(*value);
            } else {
                expected.reset();
            }
        }
    }
    return expected;
}

template <class T>
void check_array(InputReader input) {
    ElementBuilder builder;
    auto array = builder.create(xml_namespaces::XMLDA, "Value");
    const auto expected = append_members<T>(builder, *array, input);
    const auto actual = try_read([&] { return convert<T>(array.get(), true); });
    require(actual.has_value() == expected.has_value(), "members are taken by both, or none",
            array->innerText());
    require(!actual || (actual->get_type_info() == get_type_info_of<std::vector<T>>() &&
                        is_same(std::get<std::vector<T>>(*actual), *expected)),
            "an array is read as defined: " + get_type_name(get_type_info_of<T>()), array->innerText());
}

template <class... T>
void check_types(const InputReader& input) {
    ElementBuilder builder;
    InputReader rest = input;
    auto element = builder.create(xml_namespaces::XMLDA, "Value");
    builder.fill(*element, rest);
    (check_scalar<T>(*element), ...);
    const std::string text = element->innerText();
    require(from_xml_string<unsigned char>(text) == read_with_oracle<unsigned char>(text),
            "an unsigned byte is read as defined", text);
    (check_array<T>(input), ...);
}

template <class T>
void check_written(const char* format, T number) {
    std::array<char, 400> expected{};
    std::snprintf(expected.data(), expected.size(), format, number);
    require(to_xml_string(number) == expected.data(), "a number is written as printf does it",
            expected.data());
}

void check_numbers(InputReader input) {
    const auto bits = input.take_number<std::uint64_t>();
    check_written("%f", std::bit_cast<double>(bits));
    check_written("%f", std::bit_cast<float>(static_cast<std::uint32_t>(bits)));
    check_written("%ld", static_cast<long>(bits));
    check_written("%lu", static_cast<unsigned long>(bits));
    check_written("%d", static_cast<int>(bits));
    check_written("%u", static_cast<unsigned int>(bits));
    check_written("%hd", static_cast<short>(bits));
    check_written("%hu", static_cast<unsigned short>(bits));
    check_written("%hhd", static_cast<signed char>(bits));
    check_written("%hhu", static_cast<unsigned char>(bits));
}

}  // namespace

}  // namespace kx::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace kx::information_model;
    const kx::fuzz::InputReader input({reinterpret_cast<const char*>(data), size});
    kx::fuzz::check_types<bool, std::string, double, float, long, int, short, signed char, unsigned long,
                          unsigned int, unsigned short, TimePoint, Duration>(input);
    kx::fuzz::check_numbers(input);
    return 0;
}
