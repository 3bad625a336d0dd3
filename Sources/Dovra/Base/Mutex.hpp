#pragma once

#include <mutex>

#include "Base/ThreadAnnotations.hpp"

namespace dovra {

/// A mutex that the compiler's thread-safety analysis knows. Not recursive. Held through `MutexGuard`.
class DOVRA_CAPABILITY("Mutex") Mutex {
public:
    void lock() DOVRA_ACQUIRE() { mutex_.lock(); }
    void unlock() DOVRA_RELEASE() { mutex_.unlock(); }

private:
    std::mutex mutex_;
};

/// Holds the mutex for its lifetime.
class DOVRA_SCOPED_CAPABILITY MutexGuard {
public:
    explicit MutexGuard(Mutex& mutex) DOVRA_ACQUIRE(mutex) : mutex_(mutex) { mutex_.lock(); }
    ~MutexGuard() DOVRA_RELEASE() { mutex_.unlock(); }
    MutexGuard(const MutexGuard&) = delete;
    MutexGuard& operator=(const MutexGuard&) = delete;

private:
    Mutex& mutex_;
};

}  // namespace dovra
