#pragma once

#include "gateway/async/Completion.h"
#include "gateway/async/Task.h"
#include "gateway/services/SoapServices.h"

#include <cstddef>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace gateway {

/// A figure of the gateway itself.
struct OwnFigure {
    std::string name;  ///< behind "kx_gateway_"
    std::string type;  ///< "gauge" or "counter"
    std::string help;
    double value = 0;
};

/// The numbers and booleans of the server in the text form that Prometheus reads.
class Metrics {
public:
    static constexpr std::size_t MOST_ITEMS = 10'000;

    /// @param branches  below which items are taken; the whole tree if there are none
    Metrics(const ServiceParts& parts, std::vector<std::string> branches,
            std::function<std::vector<OwnFigure>()> get_own_figures);

    /// Walks the tree and reads it. Who asks meanwhile gets the same text.
    Task<std::string> collect();

private:
    Task<std::string> read_all();
    Task<> walk(std::string root, std::string& text, std::size_t& items);

    const ServiceParts parts_;
    const std::vector<std::string> branches_;
    const std::function<std::vector<OwnFigure>()> get_own_figures_;
    bool is_reading_ = false;
    std::vector<Completion<std::string>> waiting_;
};

/// A label's value with what must be escaped in it.
std::string to_label_value(const std::string& text);

}  // namespace gateway
