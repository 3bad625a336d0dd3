#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "Base/Utf8.hpp"
#include "Fuzz/FuzzCheck.hpp"

namespace {

using namespace dovra;

/// Whether the text holds a control character: C0, DEL, or C1 (in valid UTF-8: C2 followed by 80 to 9F).
bool hasControl(std::string_view text) {
    unsigned previous = 0;
    for (const char c : text) {
        const unsigned byte = static_cast<std::uint8_t>(c);
        if (byte < 0x20 || byte == 0x7F || (previous == 0xC2 && byte < 0xA0)) return true;
        previous = byte;
    }
    return false;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const std::string repaired = repairUtf8(bytes);
    fuzzCheck(isValidUtf8(repaired), "repaired text is valid");
    fuzzCheck(repairUtf8(repaired) == repaired, "repairing twice changes nothing more");
    fuzzCheck(isValidUtf8(bytes) == (repaired == bytes), "valid text and only that comes back unchanged");

    const std::string visible = visibleText(bytes);
    fuzzCheck(isValidUtf8(visible), "visible text is valid");
    fuzzCheck(!hasControl(visible), "visible text holds no control character");
    fuzzCheck(visible == visibleText(repaired), "showing repairs as repairing does");
    fuzzCheck(hasControl(repaired) || visible == repaired,
              "text without control characters is shown as it is");
    return 0;
}
