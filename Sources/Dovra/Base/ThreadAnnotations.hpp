#pragma once

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
