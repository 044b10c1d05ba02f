#include <information_model/InformationModel.h>

#include <stdexcept>
#include <utility>

#include "model/TreeLock.h"
#include "model/quoted_text.h"

namespace kx::information_model {

InformationModel::InformationModel(std::string name) : InformationModel(std::move(name), DomainOptions()) {}

InformationModel::InformationModel(std::string name, DomainOptions options) {
    if (!is_valid_segment(name)) {
        throw std::invalid_argument("Invalid name: " + detail::quoted_text(name));
    }
    root_.reset(new Domain(std::move(name), nullptr, std::move(options)));
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

void InformationModel::check_locks(bool is_checked) noexcept {
    root_->tree_lock_->set_checked(is_checked);
}

void InformationModel::begin_service() noexcept {
#ifndef NDEBUG
    root_->tree_lock_->set_checked_by_default();
#endif
}

}  // namespace kx::information_model
