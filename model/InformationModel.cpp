#include <information_model/InformationModel.h>

#include <stdexcept>
#include <utility>

#include "model/quoted_text.h"

namespace kx::information_model {

InformationModel::InformationModel(std::string name) {
    if (!is_valid_segment(name)) {
        throw std::invalid_argument("Invalid name: " + detail::quoted_text(name));
    }
    root_.reset(new Domain(std::move(name), nullptr, {}));
}

InformationModel::~InformationModel() = default;

Tree& InformationModel::get_information_tree() noexcept {
    return *root_;
}

const Tree& InformationModel::get_information_tree() const noexcept {
    return *root_;
}

Domain& InformationModel::get_root() noexcept {
    return *root_;
}

const Domain& InformationModel::get_root() const noexcept {
    return *root_;
}

}  // namespace kx::information_model
