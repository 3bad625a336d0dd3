#pragma once

#include <condition_variable>
#include <mutex>
#include <shared_mutex>

// Clang's thread-safety attributes, checked by clang-tidy's run of the compiler; other compilers ignore them.
#if defined(__clang__)
#define DOVRA_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define DOVRA_THREAD_ATTRIBUTE(x)
#endif

#define DOVRA_CAPABILITY(name) DOVRA_THREAD_ATTRIBUTE(capability(name))
#define DOVRA_SCOPED_CAPABILITY DOVRA_THREAD_ATTRIBUTE(scoped_lockable)
#define DOVRA_GUARDED_BY(lock) DOVRA_THREAD_ATTRIBUTE(guarded_by(lock))
#define DOVRA_REQUIRES(...) DOVRA_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define DOVRA_REQUIRES_SHARED(...) DOVRA_THREAD_ATTRIBUTE(requires_shared_capability(__VA_ARGS__))
#define DOVRA_UNCHECKED_LOCKING DOVRA_THREAD_ATTRIBUTE(no_thread_safety_analysis)
#define DOVRA_EXCLUDES(...) DOVRA_THREAD_ATTRIBUTE(locks_excluded(__VA_ARGS__))
#define DOVRA_ACQUIRE(...) DOVRA_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define DOVRA_ACQUIRE_SHARED(...) DOVRA_THREAD_ATTRIBUTE(acquire_shared_capability(__VA_ARGS__))
#define DOVRA_RELEASE(...) DOVRA_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
#define DOVRA_RELEASE_GENERIC(...) DOVRA_THREAD_ATTRIBUTE(release_generic_capability(__VA_ARGS__))

namespace dovra {

/// A mutex that the compiler's thread-safety analysis knows. Not recursive. Held through `MutexGuard`,
/// released for a while through `MutexUnlock`, and handed to a `ConditionVariable` to wait.
class DOVRA_CAPABILITY("Mutex") Mutex {
public:
    void lock() DOVRA_ACQUIRE() {
        // Most are held for less than a microsecond. To wait for that awake is quicker than to sleep.
        for (int tries = 0; tries < 300; ++tries) {
            if (mutex_.try_lock()) return;
            waitBriefly();
        }
        mutex_.lock();
    }
    void unlock() DOVRA_RELEASE() { mutex_.unlock(); }

private:
    static void waitBriefly() {
#if defined(__x86_64__)
        __builtin_ia32_pause();
#endif
    }

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

/// Releases the mutex, which the caller holds, for its lifetime, and takes it again at the end.
class DOVRA_SCOPED_CAPABILITY MutexUnlock {
public:
    explicit MutexUnlock(Mutex& mutex) DOVRA_RELEASE(mutex) : mutex_(mutex) { mutex_.unlock(); }
    // For the analysis the end of a scope releases what its begin took: here the absence of the lock.
    ~MutexUnlock() DOVRA_RELEASE() { mutex_.lock(); }
    MutexUnlock(const MutexUnlock&) = delete;
    MutexUnlock& operator=(const MutexUnlock&) = delete;

private:
    Mutex& mutex_;
};

/// Waits with a `Mutex` that the caller holds: `changed.wait(mutex_, [&]() DOVRA_REQUIRES(mutex_) { ... })`.
/// The mutex is held whenever the condition is evaluated, and again when the wait returns.
using ConditionVariable = std::condition_variable_any;

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
