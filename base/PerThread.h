#pragma once

#include <pthread.h>

#include <memory>
#include <new>
#include <system_error>

namespace kx::information_model::opc {

/// An object of which each thread has its own, made when the thread first asks for it and destroyed when
/// the thread ends. It replaces `thread_local`, with which glibc ends the process if there is no memory to
/// register a destructor, or for the variables of a library that was loaded late.
///
/// A variable of static storage duration. Threads of POCO's pool end after that is destroyed, when the
/// process does, so that it gives nothing back itself; and since they end with code of the library, the
/// library must never be unloaded.
template <class T>
class PerThread {
public:
    /// @throws std::system_error  if the process has no thread-specific data to spare
    PerThread() {
        const int error = pthread_key_create(&key_, destroy);
        if (error != 0) {
            throw std::system_error(error, std::generic_category());
        }
    }
    PerThread(const PerThread&) = delete;
    PerThread& operator=(const PerThread&) = delete;
    ~PerThread() = default;

    /// This thread's object.
    /// @throws std::bad_alloc, and what making a `T` throws; the next call tries again
    T& get() {
        if (T* const known = find()) {
            return *known;
        }
        auto object = std::make_unique<T>();
        if (pthread_setspecific(key_, object.get()) != 0) {
            throw std::bad_alloc();
        }
        return *object.release();
    }

    /// This thread's object, null if it has none yet.
    T* find() const noexcept { return static_cast<T*>(pthread_getspecific(key_)); }

private:
    static void destroy(void* object) { delete static_cast<T*>(object); }

    pthread_key_t key_{};
};

}  // namespace kx::information_model::opc
