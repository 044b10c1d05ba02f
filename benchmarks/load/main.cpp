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
#include <utility>

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

Report read_report(const std::string& file) {
    try {
        return from_json(read_file(file));
    } catch (const std::exception& error) {
        throw std::runtime_error(file + ": " + error.what());
    }
}

void add(Report& report, const Report& other) {
    for (const Section& section : other.sections) {
        if (Section* same = report.find(section.title)) {
            same->rows.insert(same->rows.end(), section.rows.begin(), section.rows.end());
        } else {
            report.sections.push_back(section);
        }
    }
}

Report measure(const Arguments& arguments) {
    const Suite suite(arguments.suite);
    Report report{{suite.describe(), describe_circumstances()}, {}};
    report.sections = suite.run();
    if (Section goals = create_goals(report); !goals.rows.empty()) {
        report.sections.push_back(std::move(goals));
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
        // Read first: what is wrong with a file should not come up after minutes of measuring.
        const Report before = arguments.compare_file.empty() ? Report() : read_report(arguments.compare_file);
        Report included;
        for (const std::string& file : arguments.include_files) {
            add(included, read_report(file));
        }
        Report report = measure(arguments);
        add(report, included);
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
