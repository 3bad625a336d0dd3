#include "Query/ByteProbe.hpp"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "Query/ByteProbe.cpp"
#include <hwy/foreach_target.h>  // includes this file once for each instruction set
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace dovra::HWY_NAMESPACE {
namespace hw = hwy::HWY_NAMESPACE;

void probeVectors(const std::uint8_t* bytes, std::size_t wordCount, const ScanNeedle::Probe& first,
                  const ScanNeedle::Probe& second, std::uint64_t* masks) {
    // Vectors wider than 64 bytes would store more than one word of mask bits at a time.
    const hw::CappedTag<std::uint8_t, 64> d;
    const std::size_t lanes = hw::Lanes(d);
    const auto firstMask = hw::Set(d, first.mask);
    const auto firstValue = hw::Set(d, first.value);
    const auto secondMask = hw::Set(d, second.mask);
    const auto secondValue = hw::Set(d, second.value);
    auto* bits = reinterpret_cast<std::uint8_t*>(masks);
    for (std::size_t i = 0; i < wordCount * 64; i += lanes) {
        const auto firstBytes = hw::Or(hw::LoadU(d, bytes + i + first.distance), firstMask);
        const auto secondBytes = hw::Or(hw::LoadU(d, bytes + i + second.distance), secondMask);
        const auto hit = hw::And(hw::Eq(firstBytes, firstValue), hw::Eq(secondBytes, secondValue));
        hw::StoreMaskBits(d, hit, bits + i / 8);
    }
}

}  // namespace dovra::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace dovra {
HWY_EXPORT(probeVectors);

void probeBytes(const std::uint8_t* bytes, std::size_t wordCount, const ScanNeedle::Probe& first,
                const ScanNeedle::Probe& second, std::uint64_t* masks) {
    HWY_DYNAMIC_DISPATCH(probeVectors)(bytes, wordCount, first, second, masks);
}

}  // namespace dovra
#endif
