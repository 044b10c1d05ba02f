#include "load/Arguments.h"

#include <functional>
#include <map>
#include <ostream>
#include <stdexcept>

namespace kx::benchmarks {

namespace {

using Flag = std::function<void(Arguments&)>;
using Option = std::function<void(Arguments&, const std::string&)>;

const std::map<std::string, Flag> FLAGS{
    {"--help", [](Arguments& arguments) { arguments.help = true; }},
    {"--quick", [](Arguments& arguments) { arguments.suite.quick = true; }},
};

const std::map<std::string, Option> OPTIONS{
    {"--filter", [](Arguments& arguments, const std::string& text) { arguments.suite.filter = text; }},
    {"--row", [](Arguments& arguments, const std::string& row) { arguments.suite.rows.insert(row); }},
    {"--before", [](Arguments& arguments, const std::string& file) { arguments.suite.before = file; }},
    {"--serve", [](Arguments& arguments, const std::string& count) { arguments.serve = std::stoul(count); }},
    {"--port-to",
     [](Arguments& arguments, const std::string& number) { arguments.port_to = std::stoi(number); }},
};

}  // namespace

Arguments parse_arguments(const std::vector<std::string>& words) {
    Arguments arguments;
    for (auto word = words.begin(); word != words.end(); ++word) {
        if (const auto flag = FLAGS.find(*word); flag != FLAGS.end()) {
            flag->second(arguments);
        } else if (const auto option = OPTIONS.find(*word); option == OPTIONS.end()) {
            throw std::invalid_argument("unknown: " + *word);
        } else if (++word == words.end()) {
            throw std::invalid_argument(option->first + " needs a value");
        } else {
            option->second(arguments, *word);
        }
    }
    return arguments;
}

void print_help(std::ostream& stream) {
    stream << "Measures the services over real sockets. Prints a line of JSON for each row.\n"
              "  --quick           fewer and shorter rounds, and no million of anything\n"
              "  --filter TEXT     only rows whose \"section: row\" contains TEXT\n"
              "  --row ROW         only the row that is called \"section: row\"; may be repeated\n"
              "  --before PROGRAM  measure some rows beside this program of an earlier version\n"
              "  --serve N         measure nothing: serve a tree of N variables\n"
              "  --port-to NUMBER  write its port, as two bytes, to this descriptor\n"
              "  --help            print this\n";
}

}  // namespace kx::benchmarks
