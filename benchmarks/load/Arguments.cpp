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
    {"--no-peer", [](Arguments& arguments) { arguments.suite.with_peer = false; }},
};

const std::map<std::string, Option> OPTIONS{
    {"--filter", [](Arguments& arguments, const std::string& text) { arguments.suite.filter = text; }},
    {"--json", [](Arguments& arguments, const std::string& file) { arguments.json_file = file; }},
    {"--compare", [](Arguments& arguments, const std::string& file) { arguments.compare_file = file; }},
    {"--include",
     [](Arguments& arguments, const std::string& file) { arguments.include_files.push_back(file); }},
    {"--plot-data", [](Arguments& arguments, const std::string& file) { arguments.plot_data_file = file; }},
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
    stream << "Measures the services over real sockets and prints one table.\n"
              "  --quick           fewer and shorter rounds, and no million of anything\n"
              "  --filter TEXT     only rows whose \"section: row\" contains TEXT\n"
              "  --no-peer         leave out the peer, if it has been built\n"
              "  --json FILE       write the figures to FILE\n"
              "  --compare FILE    print them beside those of an earlier run\n"
              "  --include FILE    add figures that another program wrote: those of this one, of\n"
              "                    kx_instructions, or the JSON report of a Google Benchmark program\n"
              "  --plot-data FILE  write items and microseconds an item: ours, the floor's, the peer's\n"
              "  --help            print this\n";
}

}  // namespace kx::benchmarks
