#pragma once

#include "client/Value.h"

#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace xmlda {

/// Writes JSON into a stream as it comes. Control characters and characters that change the direction of
/// text are escaped, so that the output does nothing to a terminal.
class JsonWriter {
public:
    enum class Layout {
        INDENTED,  ///< one member on each line
        ONE_LINE
    };

    JsonWriter(std::ostream& stream, Layout layout) : stream_(stream), layout_(layout) {}

    JsonWriter& begin_object() { return begin('{'); }
    JsonWriter& end_object() { return end('}'); }
    JsonWriter& begin_array() { return begin('['); }
    JsonWriter& end_array() { return end(']'); }

    /// The name of the member that comes next.
    JsonWriter& key(std::string_view name);

    JsonWriter& text(std::string_view text);
    JsonWriter& boolean(bool value);
    JsonWriter& null();
    /// Numbers as numbers, with all digits that the server sent, booleans as true and false, nil as null,
    /// arrays as arrays, anything else (NaN and infinities as well) as a string.
    JsonWriter& value(const Value& value);

    /// A member with a text; none if the text is empty.
    JsonWriter& member(std::string_view name, std::string_view text);

private:
    JsonWriter& begin(char bracket);
    JsonWriter& end(char bracket);
    void write_scalar(const Value& value);
    void separate();
    void break_line();

    std::ostream& stream_;
    Layout layout_;
    std::vector<bool> has_members_;  // for each open object and array
    bool behind_key_ = false;
};

}  // namespace xmlda
