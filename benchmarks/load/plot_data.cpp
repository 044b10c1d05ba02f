#include "load/plot_data.h"

#include "load/Suite.h"

#include <sstream>

namespace kx::benchmarks {

std::string create_plot_data(const Report& report) {
    const std::string read = "Read ";
    std::ostringstream text;
    text << "# items ours floor peer\n";
    const Section* services = report.find(SERVICES_TITLE);
    for (const Row& row : services == nullptr ? std::vector<Row>() : services->rows) {
        if (!row.name.starts_with(read)) {
            continue;
        }
        const std::string items = row.name.substr(read.size());
        text << items;
        for (const char* column : {"CPU us", "floor us", "peer us"}) {
            const auto time = services->find(row.name, column);
            text << ' ' << (time ? std::to_string(*time / std::stod(items)) : "?");
        }
        text << '\n';
    }
    return text.str();
}

}  // namespace kx::benchmarks
