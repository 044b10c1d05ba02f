#include "load/lines.h"

#include <Poco/JSON/Array.h>
#include <Poco/JSON/Object.h>

#include <ostream>

namespace kx::benchmarks {

namespace {

using Poco::JSON::Array;
using Poco::JSON::Object;

Object create_line(const std::string& section, const std::string& row) {
    Object line(Poco::JSON_PRESERVE_KEY_ORDER);
    line.set("section", section);
    line.set("row", row);
    return line;
}

Object to_object(const Figures& figures) {
    Object result(Poco::JSON_PRESERVE_KEY_ORDER);
    for (const auto& [name, value] : figures) {
        result.set(name, value ? Poco::Dynamic::Var(*value) : Poco::Dynamic::Var());
    }
    return result;
}

Array to_array(const std::vector<double>& values) {
    Array result;
    for (const double value : values) {
        result.add(value);
    }
    return result;
}

Object to_object(const ServerFigures& figures) {
    Object result(Poco::JSON_PRESERVE_KEY_ORDER);
    result.set("CPU us", to_array(figures.cpu_us));
    result.set("requests/s", to_array(figures.requests_per_second));
    result.set("p50 us", figures.p50_us);
    result.set("p99 us", figures.p99_us);
    result.set("p99.9 us", figures.p999_us);
    return result;
}

void print(std::ostream& stream, const Object& line) {
    line.stringify(stream);
    stream << std::endl;  // at once: measuring takes minutes
}

}  // namespace

void print_figures(std::ostream& stream, const std::string& section, const std::string& row,
                   const Figures& figures) {
    Object line = create_line(section, row);
    line.set("figures", to_object(figures));
    print(stream, line);
}

void print_measurement(std::ostream& stream, const std::string& section, const std::string& row,
                       std::size_t units, const Measurement& measurement) {
    Object line = create_line(section, row);
    line.set("units", units);
    line.set("request B", measurement.request_size);
    line.set("reply B", measurement.reply_size);
    Object servers(Poco::JSON_PRESERVE_KEY_ORDER);
    for (const auto& [name, figures] : measurement.servers) {
        servers.set(name, to_object(figures));
    }
    line.set("servers", servers);
    print(stream, line);
}

}  // namespace kx::benchmarks
