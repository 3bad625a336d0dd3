// Fails on some inputs on purpose: shows that the driver finds and reports a fault.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

#include "Fuzz/FuzzCheck.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::span bytes(data, size);
    dovra::fuzzCheck(std::ranges::find(bytes, '!') == bytes.end(), "the input holds an exclamation mark");
    return 0;
}
