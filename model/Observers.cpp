#include "model/Observers.h"

#include "model/standard_error.h"

#include <algorithm>
#include <exception>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

namespace kx::information_model {

namespace detail {

namespace {

/// The calls that this thread is making; null while it makes none.
thread_local Deliveries* calls_under_way = nullptr;

void report_exception(const Path& path, std::string_view what) noexcept {
    try {
        std::string line = "observer of " + path.as_string() + " failed: ";
        line += what;
        line += '\n';
        write_to_standard_error(line);
    } catch (...) {  // NOLINT(bugprone-empty-catch): there is no other place to report to
    }
}

bool is_reached(Observers::Kind kind, CALLBACK_RESTRAIN restrain, bool is_changed) noexcept {
    const auto reached = [restrain](CALLBACK_RESTRAIN kind_bit) {
        return (static_cast<unsigned int>(restrain) & static_cast<unsigned int>(kind_bit)) != 0;
    };
    return kind == Observers::Kind::WRITTEN ? reached(CALLBACK_RESTRAIN::WRITTEN)
                                            : is_changed && reached(CALLBACK_RESTRAIN::CHANGED);
}

}  // namespace

Observer::Observer(Variable::Callback callback) : callback_(std::move(callback)) {}

void Observer::call(const Path& path, const Value& value) noexcept {
    const std::lock_guard guard(mutex_);
    if (!is_active_) {
        return;
    }
    try {
        callback_(path, value);
    } catch (const std::exception& error) {
        report_exception(path, error.what());
    } catch (...) {
        report_exception(path, "unknown exception");
    }
}

void Observer::end() noexcept {
    const std::lock_guard guard(mutex_);
    is_active_ = false;
}

void deliver(Deliveries deliveries) noexcept {
    if (calls_under_way != nullptr) {
        calls_under_way->splice(calls_under_way->end(), deliveries);
        return;
    }
    calls_under_way = &deliveries;
    while (!deliveries.empty()) {
        Deliveries current;
        current.splice(current.end(), deliveries, deliveries.begin());
        const Delivery& delivery = current.front();
        delivery.observer->call(delivery.written->path, delivery.written->value);
    }
    calls_under_way = nullptr;
}

std::shared_ptr<Observer> Observers::add(Kind kind, Variable::Callback callback) {
    if (!callback) {
        throw std::invalid_argument("empty callback");
    }
    if (entries_.size() == entries_.capacity()) {
        std::erase_if(entries_, [](const Entry& entry) { return entry.observer.expired(); });
    }
    auto observer = std::make_shared<Observer>(std::move(callback));
    entries_.push_back({kind, observer});
    return observer;
}

void Observers::append_deliveries(Deliveries& deliveries, std::shared_ptr<const Written>& written,
                                  const Variable& variable, const Value& value, CALLBACK_RESTRAIN restrain,
                                  bool is_changed) const {
    for (const Entry& entry : entries_) {
        if (!is_reached(entry.kind, restrain, is_changed)) {
            continue;
        }
        auto observer = entry.observer.lock();
        if (!observer) {
            continue;
        }
        if (!written) {
            written = std::make_shared<const Written>(Written{variable.get_path(), value});
        }
        deliveries.push_back({std::move(observer), written});
    }
}

bool Observers::is_any_registered() const noexcept {
    return std::any_of(entries_.begin(), entries_.end(),
                       [](const Entry& entry) { return !entry.observer.expired(); });
}

}  // namespace detail

Registration::Registration() noexcept = default;

Registration::Registration(std::shared_ptr<detail::Observer> observer) noexcept
    : observer_(std::move(observer)) {}

Registration::Registration(Registration&& other) noexcept = default;

Registration& Registration::operator=(Registration&& other) noexcept {
    if (this != &other) {
        end();
        observer_ = std::move(other.observer_);
    }
    return *this;
}

Registration::~Registration() {
    end();
}

void Registration::end() noexcept {
    if (const auto observer = std::exchange(observer_, nullptr)) {
        observer->end();
    }
}

}  // namespace kx::information_model
