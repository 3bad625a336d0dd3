#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "Base/Utf8.hpp"
#include "Query/Tags.hpp"

// Whatever the bytes, decoding ends, stays within them, and gives well-formed text no longer than repairing
// and widening can make it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view document(reinterpret_cast<const char*>(data), size);
    std::size_t total = 0;
    for (const auto& text : dovra::decodeTagPropertyList(document)) {
        if (!dovra::isValidUtf8(text)) std::abort();
        total += text.size();
    }
    if (total > 3 * size) std::abort();
    return 0;
}
