#include "client/ItemFacts.h"
#include "xmlda/commands/Browser.h"
#include "xmlda/commands/commands.h"
#include "xmlda/text/printable.h"

#include <algorithm>

namespace xmlda {
namespace {

constexpr std::size_t DEEPEST = 100;

/// The name as it stands in front of the "=" of a write.
std::string escape_equals(const std::string& name) {
    std::string escaped;
    for (const char character : name) {
        escaped += character == '=' ? "\\=" : std::string(1, character);
    }
    return escaped;
}

/// Whether "/" leads from a branch to what is in it, as far as its name tells.
bool takes_slash(const std::string& name) {
    return name.find('/') != std::string::npos && !name.ends_with('/');
}

/// The words that a shell may put in place of one that is being typed.
class ItemWords {
public:
    ItemWords(Client& client, const Arguments& arguments, Console& console)
        : client_(client), console_(console), is_write_(arguments.command == Command::WRITE) {}

    /// Goes down into the branches whose names the word begins with, and prints the names in them that begin
    /// with the word.
    void print_names(const std::string& path, const std::string& word) {
        ItemAddress branch{"", path};
        for (std::size_t depth = 0; depth < DEEPEST; ++depth) {
            std::vector<BrowseNode> nodes;
            Browser(client_, console_, {}).collect(branch, nodes);
            std::string longest;
            for (const BrowseNode& node : nodes) {
                const BrowseElement& element = node.element;
                const std::string name = is_write_ ? escape_equals(element.item_name) : element.item_name;
                if (name.starts_with(word)) {
                    print(name + get_end(element));
                } else if (element.has_children && word.starts_with(name) && name.size() > longest.size()) {
                    longest = name;
                    branch = {element.item_name, element.item_path.empty() ? branch.path : element.item_path};
                }
            }
            if (longest.empty()) {
                return;
            }
        }
    }

    /// Prints what may stand behind the "=".
    void print_values(const std::string& path, const std::string& word) {
        const Assignment assignment = parse_assignment(word);
        const std::string beginning = word.substr(0, word.size() - assignment.text.size());
        for (const std::string& value : get_values({assignment.address.name, path})) {
            if (value.starts_with(assignment.text)) {
                print(beginning + value);
            }
        }
    }

private:
    std::string get_end(const BrowseElement& element) const {
        if (element.has_children) {
            return takes_slash(element.item_name) ? "/" : "";
        }
        return is_write_ ? "=" : "";
    }

    std::vector<std::string> get_values(const ItemAddress& address) {
        const PropertiesReply reply =
            client_.call(create_properties_request({address}, get_fact_names()), parse_properties_reply);
        if (reply.items.empty()) {
            return {};
        }
        const ItemFacts facts = to_facts(reply.items.front());
        return facts.type == "boolean" ? std::vector<std::string>{"true", "false"} : facts.symbols;
    }

    /// A shell's line cannot hold control characters.
    void print(const std::string& text) {
        if (!needs_escapes(text)) {
            console_.get_output() << text << '\n';
        }
    }

    Client& client_;
    Console& console_;
    const bool is_write_;
};

bool is_assignment(const std::string& word) {
    for (std::size_t i = 0; i < word.size(); ++i) {
        if (word[i] == '=' && i > 0) {
            return true;
        }
        i += word[i] == '\\' ? 1 : 0;
    }
    return false;
}

}  // namespace

void run_complete(Client& client, const Arguments& arguments, const std::string& word, Console& console) {
    ItemWords words(client, arguments, console);
    if (arguments.command == Command::WRITE && is_assignment(word)) {
        words.print_values(arguments.assignments.front().address.path, word);
    } else {
        const bool is_write = arguments.command == Command::WRITE;
        words.print_names(
            is_write ? arguments.assignments.front().address.path : arguments.items.front().path, word);
    }
}

}  // namespace xmlda
