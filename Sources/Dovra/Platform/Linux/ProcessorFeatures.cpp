#include "Platform/ProcessorFeatures.hpp"

#if defined(__x86_64__) && __has_include(<sys/platform/x86.h>)
#if defined(__clang__)
#define _Bool bool  // NOLINT(bugprone-reserved-identifier): the header is written in C
#endif
#include <sys/platform/x86.h>
#endif

namespace dovra {

bool hasWideVectors() {
#ifdef CPU_FEATURE_ACTIVE
    // The C library has asked the processor already. The compiler's own test would ask it again, which a
    // virtual machine answers slowly.
    return CPU_FEATURE_ACTIVE(AVX512BW) && CPU_FEATURE_ACTIVE(BMI2);
#else
    return false;
#endif
}

}  // namespace dovra
