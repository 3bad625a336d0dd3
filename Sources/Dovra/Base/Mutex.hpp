#pragma once

#include <condition_variable>
#include <mutex>

#include "Base/ThreadAnnotations.hpp"

namespace dovra {

/// A mutex that the compiler's thread-safety analysis knows. Not recursive. Held through `MutexGuard`, let go
/// for a while through `MutexUnlock`, and handed to a `ConditionVariable` to wait.
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

/// Lets the mutex, which the caller holds, go for its lifetime, and takes it again at the end.
class DOVRA_SCOPED_CAPABILITY MutexUnlock {
public:
    explicit MutexUnlock(Mutex& mutex) DOVRA_RELEASE(mutex) : mutex_(mutex) { mutex_.unlock(); }
    // To the analysis a scope's end always gives back what its begin took: here the absence of the lock.
    ~MutexUnlock() DOVRA_RELEASE() { mutex_.lock(); }
    MutexUnlock(const MutexUnlock&) = delete;
    MutexUnlock& operator=(const MutexUnlock&) = delete;

private:
    Mutex& mutex_;
};

/// Waits with a `Mutex` that the caller holds: `changed.wait(mutex_, [&]() DOVRA_REQUIRES(mutex_) { ... })`.
/// The mutex is held whenever the condition is evaluated, and again when the wait returns.
using ConditionVariable = std::condition_variable_any;

}  // namespace dovra
