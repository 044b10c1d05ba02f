#include "client/ItemFacts.h"
#include "client/property_names.h"
#include "xmlda/commands/Browser.h"
#include "xmlda/commands/commands.h"
#include "xmlda/print/Tree.h"
#include "xmlda/print/item_output.h"
#include "xmlda/print/value_text.h"
#include "xmlda/text/printable.h"
#include "xmlda/text/width.h"

#include <algorithm>

namespace xmlda {
namespace {

std::string get_property_text(const Property& property) {
    if (property.result && property.result->is_error()) {
        return to_printable(property.result->to_text());
    }
    return property.value ? to_text(*property.value) : "";
}

std::vector<std::string> to_details(const std::vector<Property>& properties) {
    std::size_t width = 0;
    for (const Property& property : properties) {
        width = std::max(width, get_width(to_printable(property.name)));
    }
    std::vector<std::string> lines;
    lines.reserve(properties.size());
    for (const Property& property : properties) {
        lines.push_back(pad_to_width(to_printable(property.name), width + 2) + get_property_text(property));
    }
    return lines;
}

std::string get_address_text(const BrowseElement& element) {
    return to_printable(element.item_name) +
           (element.item_path.empty() ? "" : "  in " + to_printable(element.item_path));
}

/// An element as the item that it is, with its value.
ShownItem to_item(const BrowseElement& element) {
    ItemProperties properties;
    properties.properties = element.properties;
    ShownItem item;
    item.facts = to_facts(properties);
    if (const Value* const value = properties.find(property_names::VALUE)) {
        item.reply.value = *value;
    }
    const std::string time = properties.get_text(property_names::TIMESTAMP);
    if (!time.empty()) {
        item.reply.timestamp = time;
    }
    return item;
}

/// Makes a tree that can be drawn of what browsing found.
class Drawing {
public:
    Drawing(const Arguments& arguments, const Console& console) : arguments_(arguments), console_(console) {}

    TreeNode draw(const std::string& title, const std::vector<BrowseNode>& nodes) const {
        TreeNode root{.label = to_printable(title), .remark = "", .details = {}, .children = {}};
        add_children(root, nodes);
        return root;
    }

    TreeNode draw_leaf(const BrowseElement& element) const {
        return {.label = to_printable(element.item_name),
                .remark = "",
                .details = to_details(element.properties),
                .children = {}};
    }

private:
    void add_children(TreeNode& parent, const std::vector<BrowseNode>& nodes) const {
        for (const BrowseNode& node : nodes) {
            parent.children.push_back(draw(node));
        }
    }

    TreeNode draw(const BrowseNode& node) const {
        const BrowseElement& element = node.element;
        TreeNode drawn{.label = to_printable(element.name) + (element.has_children ? "/" : "") +
                                (node.note.empty() ? "" : ' ' + node.note),
                       .remark = get_address_text(element),
                       .details = {},
                       .children = {}};
        if (arguments_.with_values) {
            show_value(element, drawn);
        } else {
            drawn.details = to_details(element.properties);
        }
        add_children(drawn, node.children);
        return drawn;
    }

    void show_value(const BrowseElement& element, TreeNode& drawn) const {
        const ShownItem item = to_item(element);
        const Quality quality = item.facts.quality.value_or(Quality());
        drawn.remark = item.reply.value ? get_value_text(item) : "";
        if (quality != Quality()) {
            drawn.remark += (drawn.remark.empty() ? "" : "  ") + to_printable(quality.to_text());
            drawn.style = console_.get_style(quality);
        }
    }

    const Arguments& arguments_;
    const Console& console_;
};

void write_properties(JsonWriter& json, const std::vector<Property>& properties) {
    json.key("properties").begin_array();
    for (const Property& property : properties) {
        json.begin_object().key("name").text(property.name);
        if (property.value) {
            json.key("value").value(*property.value);
            json.member("type", property.value->type);
        }
        json.member("description", property.description);
        if (property.result) {
            write_result(json, *property.result);
        }
        json.end_object();
    }
    json.end_array();
}

void write_nodes(JsonWriter& json, const std::vector<BrowseNode>& nodes, const Arguments& arguments) {
    json.begin_array();
    for (const BrowseNode& node : nodes) {
        json.begin_object()
            .member("name", node.element.name)
            .member("item", node.element.item_name)
            .member("itemPath", node.element.item_path);
        json.key("isItem").boolean(node.element.is_item);
        json.key("hasChildren").boolean(node.element.has_children);
        if (arguments.properties) {
            write_properties(json, node.element.properties);
        }
        if (arguments.with_values) {
            write_details(json, to_item(node.element));
        }
        if (arguments.recursive && node.element.has_children) {
            json.key("children");
            write_nodes(json, node.children, arguments);
        }
        json.end_object();
    }
    json.end_array();
}

void print_names(const std::vector<BrowseNode>& nodes, std::ostream& stream) {
    for (const BrowseNode& node : nodes) {
        if (!node.element.item_name.empty()) {
            const std::string& path = node.element.item_path;
            stream << to_printable(node.element.item_name) << (path.empty() ? "" : '\t' + to_printable(path))
                   << '\n';
        }
        print_names(node.children, stream);
    }
}

void print(const Arguments& arguments, const std::string& title, const std::vector<BrowseNode>& nodes,
           Console& console) {
    if (arguments.json) {
        JsonWriter json(console.get_output(), JsonWriter::Layout::INDENTED);
        write_nodes(json, nodes, arguments);
        console.get_output() << '\n';
    } else if (arguments.names_only) {
        print_names(nodes, console.get_output());
    } else {
        // Item names are there to be copied: they are never cut.
        print_tree(console.get_output(), Drawing(arguments, console).draw(title, nodes), console.has_lines(),
                   arguments.with_values ? console.get_width() : Table::ANY_WIDTH);
    }
}

/// Shows the properties of an item that has nothing below it.
/// @return whether the server has any of it
bool show_leaf(Client& client, const Arguments& arguments, const ItemAddress& address, Console& console) {
    const PropertiesReply reply = client.call(create_properties_request({address}), parse_properties_reply);
    if (reply.items.empty() || (reply.items.front().result && reply.items.front().result->is_error())) {
        return false;
    }
    BrowseElement element{.name = address.name,
                          .item_name = address.name,
                          .item_path = address.path,
                          .is_item = true,
                          .has_children = false,
                          .properties = reply.items.front().properties};
    if (arguments.json) {
        print(arguments, "", {{std::move(element), "", {}}}, console);
    } else {
        print_tree(console.get_output(), Drawing(arguments, console).draw_leaf(element), console.has_lines(),
                   console.get_width());
    }
    return true;
}

Browser::Options get_options(const Arguments& arguments) {
    Browser::Options options{
        .recursive = arguments.recursive, .with_properties = arguments.properties, .names = {}};
    if (arguments.with_values && !arguments.properties) {
        options.names = get_fact_names();
        options.names.insert(options.names.end(), {property_names::VALUE, property_names::TIMESTAMP});
    }
    return options;
}

}  // namespace

void run_browse(Client& client, const Arguments& arguments, Console& console) {
    const ItemAddress& begin = arguments.items.front();
    const std::string title =
        begin.name.empty() ? client.get_transport().get_endpoint().get_url() : begin.name;
    const bool may_be_leaf = arguments.properties && !begin.name.empty();
    std::vector<BrowseNode> nodes;
    try {
        Browser(client, console, get_options(arguments)).collect(begin, nodes);
        if (nodes.empty() && may_be_leaf && show_leaf(client, arguments, begin, console)) {
            return;
        }
    } catch (const Failure& failure) {
        const bool is_refused = failure.get_status() == ExitStatus::FAULT && nodes.empty();
        if (is_refused && may_be_leaf && show_leaf(client, arguments, begin, console)) {
            return;
        }
        if (!nodes.empty()) {
            print(arguments, title, nodes, console);  // what was found until then
            console.flush();
        }
        throw;
    }
    print(arguments, title, nodes, console);
}

}  // namespace xmlda
