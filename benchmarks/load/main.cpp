// Measures the services over real sockets: processor time of the serving process for each request, in turns
// with an HTTP server of the same make that answers with a constant reply of the same size, and with a peer.

#include "load/Arguments.h"
#include "load/Report.h"
#include "load/Suite.h"
#include "load/circumstances.h"
#include "load/goals.h"
#include "load/plot_data.h"

#include <csignal>
#include <exception>
#include <fstream>
#include <iostream>
#include <sstream>
#include <stdexcept>

namespace {

using namespace kx::benchmarks;

std::string read_file(const std::string& name) {
    std::ostringstream text;
    std::ifstream file(name);
    if (!(text << file.rdbuf())) {
        throw std::runtime_error("cannot read " + name);
    }
    return text.str();
}

void write_file(const std::string& name, const std::string& text) {
    std::ofstream file(name);
    if (!(file << text << std::flush)) {
        throw std::runtime_error("cannot write " + name);
    }
}

void include(Report& report, const std::string& name) {
    for (Section& section : from_json(read_file(name)).sections) {
        if (Section* same = report.find(section.title)) {
            same->rows.insert(same->rows.end(), section.rows.begin(), section.rows.end());
        } else {
            report.sections.push_back(std::move(section));
        }
    }
}

Report create_report(const Arguments& arguments) {
    const Suite suite(arguments.suite);
    Report report{{suite.describe(), describe_circumstances()}, suite.run()};
    report.sections.push_back(create_goals(report));
    for (const std::string& file : arguments.include_files) {
        include(report, file);
    }
    return report;
}

void publish(const Report& report, const Arguments& arguments) {
    print(report, std::cout);
    if (!arguments.json_file.empty()) {
        write_file(arguments.json_file, to_json(report));
    }
    if (!arguments.plot_data_file.empty()) {
        write_file(arguments.plot_data_file, create_plot_data(report));
    }
}

}  // namespace

int main(int argc, char** argv) {
    try {
        std::signal(SIGPIPE, SIG_IGN);
        const Arguments arguments = parse_arguments({argv + 1, argv + argc});
        if (arguments.help) {
            print_help(std::cout);
            return 0;
        }
        // Read first: what is wrong with it should not come up after minutes of measuring.
        const Report before =
            arguments.compare_file.empty() ? Report() : from_json(read_file(arguments.compare_file));
        const Report report = create_report(arguments);
        publish(report, arguments);
        if (!arguments.compare_file.empty()) {
            std::cout << '\n';
            print(compare(before, report), std::cout);
        }
        return 0;
    } catch (const std::exception& error) {
        std::cerr << "kx_load: " << error.what() << " (--help tells what it takes)\n";
        return 1;
    }
}
