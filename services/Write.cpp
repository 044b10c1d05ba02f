#include "services/Write.h"

#include "codec/value_content.h"
#include "codec/value_reader.h"
#include "services/item_lookup.h"
#include "services/item_value.h"
#include "xml/reply/reply_dom.h"
#include "xml/request/request_dom.h"
#include "xml/xml_names.h"

#include <information_model/exceptions.h>

#include <Poco/DOM/Attr.h>

#include <exception>
#include <mutex>
#include <stdexcept>
#include <utility>
#include <variant>

namespace kx::information_model::opc {

namespace {

// Null, with a line of diagnostics, if there is no variable at `path`. The lines lack a blank and a colon;
// kept: operators rely on them.
Variable* find_variable(Item& root, const Path& path, Diagnostics& diagnostics) {
    Item* const item = find_or_report(root, path, "error not foundPath not found: ", diagnostics);
    if (item == nullptr || item->get_item_type() == ITEM_TYPE::VARIABLE) {
        return static_cast<Variable*>(item);
    }
    diagnostics.add("error variable not found");
    return nullptr;
}

Value get_default(const Variable& variable) {
    Value value = variable.get_value();
    value.reset();
    return value;
}

// Arrays of unsigned bytes travel as signed ones; the bits are what counts.
Value to_unsigned_bytes(const Value& sent) {
    const auto& bytes = get_content<std::vector<signed char>>(sent);
    return Value(std::vector<unsigned char>(bytes.begin(), bytes.end()));
}

Value to_symbol(const Variable& variable, const Value& sent) {
    auto symbol = get_content<SymbolInfo>(variable.get_value());
    symbol.set_value(static_cast<unsigned int>(get_content<int>(sent)));
    return Value(symbol);
}

Value to_path(const Variable& variable, const Value& sent) {
    if (!variable.get_value_type_info().is_array()) {
        return Value(Path(get_content<std::string>(sent)));
    }
    std::vector<Path> paths;
    for (const std::string& text : get_content<std::vector<std::string>>(sent)) {
        paths.emplace_back(text);
    }
    return Value(std::move(paths));
}

// What a client sent, as the variable holds it: paths, symbols and arrays of unsigned bytes do not travel as
// what they are, everything else does.
Value to_held(const Variable& variable, Value sent) {
    const ValueTypeInfo type_info = variable.get_value_type_info();
    if (type_info == ValueTypeInfo(VALUE_TYPE::UNSIGNED_BYTE, true)) {
        return to_unsigned_bytes(sent);
    }
    switch (type_info.get_type()) {
        case VALUE_TYPE::SYMBOL:
            return to_symbol(variable, sent);
        case VALUE_TYPE::PATH:
            return to_path(variable, sent);
        default:
            return sent;
    }
}

void store(Variable& variable, Value value) {
    variable.set_value(std::move(value), CALLBACK_RESTRAIN::UNRESTRAINED, true);
}

bool refuse(const Variable& variable, const char* reason, Diagnostics& diagnostics) {
    diagnostics.add("error guard of " + variable.get_path().as_string() + " failed: ", reason);
    return false;
}

// Stores a value that the variable can hold if its guard, which may change the value, lets it. A guard that
// throws, or that gives the value another type, refuses it.
bool store_guarded(Variable& variable, Value value, Diagnostics& diagnostics) {
    try {
        if (!variable.apply_guard(value)) {
            return false;
        }
    } catch (const std::exception& exception) {
        return refuse(variable, exception.what(), diagnostics);
    } catch (...) {
        return refuse(variable, "unknown exception", diagnostics);
    }
    try {
        store(variable, std::move(value));
    } catch (const BadValueTypeException& exception) {
        return refuse(variable, exception.what(), diagnostics);
    }
    return true;
}

// Writes what a client sent, or resets the variable if it sent nothing.
// @return false if the variable's guard refuses it
bool write(Variable& variable, std::optional<Value> sent, Diagnostics& diagnostics) {
    Value value = sent ? to_held(variable, *std::move(sent)) : get_default(variable);
    if (value.get_type_info() == variable.get_value_type_info()) {
        return store_guarded(variable, std::move(value), diagnostics);
    }
    store(variable, std::move(value));  // throws: it is of another type
    return true;
}

}  // namespace

Write::Write(std::shared_ptr<InformationModel> model, const Poco::XML::Node* request,
             const Poco::XML::NamespaceSupport& namespaces)
    : AMessage(std::move(model), request, namespaces) {
    return_values_on_reply_ =
        get_attribute<bool>(request, request_names::RETURN_VALUES_ON_REPLY, std::nullopt);
    options_ = read_options(*this, *request);
    const Poco::XML::Node* list = find_child(*request, request_names::ITEM_LIST);
    if (list == nullptr) {
        return;
    }
    for_each_child(*list, request_names::ITEMS, [&](const Poco::XML::Node& node) {
        auto& item = items_.emplace_back(
            Path(std::string(find_attribute_text(node, request_names::ITEM_NAME).value_or(""))),
            find_attribute_text(node, request_names::CLIENT_ITEM_HANDLE).value_or(""), std::nullopt);
        if (const Poco::XML::Node* value_node = find_child(node, request_names::VALUE)) {
            std::get<std::optional<Value>>(item).emplace(get_value(value_node));
        }
    });
}

Write::~Write() = default;

Value Write::get_value(const Poco::XML::Node* node) const {
    // Unlike other attributes this one needs its namespace: a plain "type" is somebody else's.
    const auto type = find_attribute_text(*node, xml_namespaces::XSI, "type");
    const ValueReader read = type ? find_value_reader(*type) : nullptr;
    if (read == nullptr) {
        throw std::invalid_argument("Unsupported type.");
    }
    return read(node);
}

Poco::AutoPtr<Poco::XML::Element> Write::process() {
    auto response = create_element(get_document(), reply_names::WRITE_RESPONSE);
    const auto result =
        append_result_on_exit(response, reply_names::WRITE_RESULT, options_.client_request_handle);
    auto list = create_element(get_document(), reply_names::R_ITEM_LIST);
    Item& root = get_root_item(get_model());
    Diagnostics diagnostics;
    std::unique_lock<Tree> lock(root);
    for (RequestItem& item : items_) {
        Variable* const variable = find_variable(root, std::get<Path>(item), diagnostics);
        if (variable != nullptr && variable->get_writable().value_or(false) &&
            write(*variable, std::move(std::get<std::optional<Value>>(item)), diagnostics)) {
            to_xml(list, *variable, item);
        }
    }
    lock.unlock();
    response->appendChild(list);
    return response;
}

void Write::to_xml(Poco::AutoPtr<Poco::XML::Element> list, const Variable& variable,
                   const RequestItem& item) const {
    ChildWriter writer(*list);
    write_item_value(writer, reply_names::ITEMS, variable,
                     {.item_name = get_if_absolute(std::get<Path>(item)),
                      .client_item_handle = get_if_not_empty(std::get<std::string>(item)),
                      .has_timestamp = options_.return_item_time,
                      .has_value = return_values_on_reply_});
}

}  // namespace kx::information_model::opc
