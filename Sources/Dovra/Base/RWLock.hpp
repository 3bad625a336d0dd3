#pragma once

#include <shared_mutex>

#include "Base/ThreadAnnotations.hpp"

namespace dovra {

/// A reader-writer lock that the compiler's thread-safety analysis knows. Not recursive. Held through
/// `ReadGuard` and `WriteGuard`.
class DOVRA_CAPABILITY("RWLock") RWLock {
public:
    void lock() DOVRA_ACQUIRE() { mutex_.lock(); }
    void unlock() DOVRA_RELEASE() { mutex_.unlock(); }
    void lockShared() DOVRA_ACQUIRE_SHARED() { mutex_.lock_shared(); }
    void unlockShared() DOVRA_RELEASE_GENERIC() { mutex_.unlock_shared(); }

private:
    std::shared_mutex mutex_;
};

/// Holds the read side for its lifetime.
class DOVRA_SCOPED_CAPABILITY ReadGuard {
public:
    explicit ReadGuard(RWLock& lock) DOVRA_ACQUIRE_SHARED(lock) : lock_(lock) { lock_.lockShared(); }
    ~ReadGuard() DOVRA_RELEASE_GENERIC() { lock_.unlockShared(); }
    ReadGuard(const ReadGuard&) = delete;
    ReadGuard& operator=(const ReadGuard&) = delete;

private:
    RWLock& lock_;
};

/// Holds the write side for its lifetime.
class DOVRA_SCOPED_CAPABILITY WriteGuard {
public:
    explicit WriteGuard(RWLock& lock) DOVRA_ACQUIRE(lock) : lock_(lock) { lock_.lock(); }
    ~WriteGuard() DOVRA_RELEASE() { lock_.unlock(); }
    WriteGuard(const WriteGuard&) = delete;
    WriteGuard& operator=(const WriteGuard&) = delete;

private:
    RWLock& lock_;
};

}  // namespace dovra
