// The JSON form of a report.

#include "load/Report.h"

#include <Poco/JSON/Array.h>
#include <Poco/JSON/Object.h>
#include <Poco/JSON/Parser.h>

#include <algorithm>
#include <map>
#include <regex>
#include <sstream>

namespace kx::benchmarks {

namespace {

using Poco::JSON::Array;
using Poco::JSON::Object;

template <class T>
Array to_array(const std::vector<T>& values) {
    Array result;
    for (const T& value : values) {
        result.add(value);
    }
    return result;
}

template <class T>
std::vector<T> from_array(const Array& array) {
    std::vector<T> result;
    for (const auto& element : array) {
        result.push_back(element.convert<T>());
    }
    return result;
}

Object to_object(const Row& row) {
    Array values;
    for (const auto& value : row.values) {
        values.add(value ? Poco::Dynamic::Var(*value) : Poco::Dynamic::Var());
    }
    Object result;
    result.set("name", row.name);
    result.set("values", values);
    return result;
}

Object to_object(const Section& section) {
    Array rows;
    for (const Row& row : section.rows) {
        rows.add(to_object(row));
    }
    Object result;
    result.set("title", section.title);
    result.set("key", section.key);
    result.set("columns", to_array(section.columns));
    result.set("rows", rows);
    return result;
}

Row to_row(const Object& object) {
    Row row{object.getValue<std::string>("name"), {}};
    for (const auto& value : *object.getArray("values")) {
        row.values.push_back(value.isEmpty() ? std::nullopt : std::optional(value.convert<double>()));
    }
    return row;
}

Section to_section(const Object& object) {
    Section section{object.getValue<std::string>("title"),
                    object.getValue<std::string>("key"),
                    from_array<std::string>(*object.getArray("columns")),
                    {}};
    const Array::Ptr rows = object.getArray("rows");
    for (unsigned int index = 0; index < rows->size(); ++index) {
        section.rows.push_back(to_row(*rows->getObject(index)));
    }
    return section;
}

Report to_report(const Object& object) {
    Report report{from_array<std::string>(*object.getArray("notes")), {}};
    const Array::Ptr sections = object.getArray("sections");
    for (unsigned int index = 0; index < sections->size(); ++index) {
        report.sections.push_back(to_section(*sections->getObject(index)));
    }
    return report;
}

double get_nanoseconds(const std::string& unit) {
    static const std::map<std::string, double> units{{"ns", 1}, {"us", 1e3}, {"ms", 1e6}, {"s", 1e9}};
    return units.at(unit);
}

/// Without what Google Benchmark adds to say how it measured.
std::string get_short_name(const std::string& run_name) {
    return run_name.substr(0, std::min({run_name.find("/min_time:"), run_name.find("/iterations:"),
                                        run_name.find("/manual_time"), run_name.find("/real_time")}));
}

Row to_part(const Object& benchmark) {
    const auto name = benchmark.getValue<std::string>("run_name");
    const bool manual = name.find("/manual_time") != std::string::npos;
    const double time = benchmark.getValue<double>(manual ? "real_time" : "cpu_time");
    return {get_short_name(name),
            {time * get_nanoseconds(benchmark.getValue<std::string>("time_unit")) / 1000}};
}

/// Of repeated benchmarks, the medians.
Section to_parts(const Array& benchmarks) {
    Section section{"The parts alone", "us", {"us"}, {}};
    for (unsigned int index = 0; index < benchmarks.size(); ++index) {
        const Object::Ptr benchmark = benchmarks.getObject(index);
        const auto aggregate = benchmark->optValue<std::string>("aggregate_name", "");
        if (benchmark->has("cpu_time") && (aggregate.empty() || aggregate == "median")) {
            section.rows.push_back(to_part(*benchmark));
        }
    }
    return section;
}

/// Google Benchmark writes "NaN" and "Infinity", which are no JSON.
std::string replace_odd_numbers(const std::string& text) {
    static const std::regex odd_number(": -?(NaN|Infinity)");
    return std::regex_replace(text, odd_number, ": null");
}

}  // namespace

std::string to_json(const Report& report) {
    Array sections;
    for (const Section& section : report.sections) {
        sections.add(to_object(section));
    }
    Object object;
    object.set("notes", to_array(report.notes));
    object.set("sections", sections);
    std::ostringstream text;
    object.stringify(text, 2);
    return text.str() + "\n";
}

Report from_json(const std::string& text) {
    const auto object = Poco::JSON::Parser().parse(replace_odd_numbers(text)).extract<Object::Ptr>();
    if (object->has("benchmarks")) {
        return {{}, {to_parts(*object->getArray("benchmarks"))}};
    }
    return to_report(*object);
}

}  // namespace kx::benchmarks
