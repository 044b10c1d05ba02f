#pragma once

#include <information_model/export.h>

#include <memory>

namespace kx::information_model {

namespace detail {
class Observer;
}

/// Keeps an observer of a variable or of a branch registered for as long as it lives. Move only.
///
/// It may outlive the variable. Ending it waits for a call of the observer that is under way on another
/// thread, so that nothing of the observer runs afterwards; from inside the observer itself it does not
/// wait. Requires: the thread that ends it holds nothing that the observer waits for, above all not the
/// tree's lock if the observer takes that, and is not inside an observer that the other one is ending.
class KX_INFORMATION_MODEL_EXPORT Registration {
public:
    /// An empty registration.
    Registration() noexcept;
    /// Takes the registration of `other`.
    Registration(Registration&& other) noexcept;
    /// Ends its own registration first.
    Registration& operator=(Registration&& other) noexcept;
    /// As `end`.
    ~Registration();

    /// Ends the registration; a second call does nothing.
    void end() noexcept;

private:
    friend class Domain;
    friend class Variable;
    explicit Registration(std::shared_ptr<detail::Observer> observer) noexcept;

    std::shared_ptr<detail::Observer> observer_;
};

}  // namespace kx::information_model
