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

TreeNode to_tree(const BrowseNode& node) {
    const BrowseElement& element = node.element;
    TreeNode drawn{.label = to_printable(element.name) + (element.has_children ? "/" : "") +
                            (node.note.empty() ? "" : ' ' + node.note),
                   .remark = get_address_text(element),
                   .details = to_details(element.properties),
                   .children = {}};
    std::transform(node.children.begin(), node.children.end(), std::back_inserter(drawn.children), to_tree);
    return drawn;
}

void print_tree(const std::string& title, const std::vector<BrowseNode>& nodes, Console& console) {
    TreeNode root{.label = to_printable(title), .remark = "", .details = {}, .children = {}};
    std::transform(nodes.begin(), nodes.end(), std::back_inserter(root.children), to_tree);
    print_tree(console.get_output(), root, console.has_lines());
}

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
            stream << to_printable(node.element.item_name) << '\n';
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
        print_tree(title, nodes, console);
    }
}

}  // namespace

void run_browse(Client& client, const Arguments& arguments, Console& console) {
    const ItemAddress& begin = arguments.items.front();
    const std::string title =
        begin.name.empty() ? client.get_transport().get_endpoint().get_url() : begin.name;
    std::vector<BrowseNode> nodes;
    try {
        Browser(client, console, {arguments.recursive, arguments.properties}).collect(begin, nodes);
    } catch (const Failure&) {
        if (!nodes.empty()) {
            print(arguments, title, nodes, console);  // what was found until then
            console.flush();
        }
        throw;
    }
    print(arguments, title, nodes, console);
}

}  // namespace xmlda
