#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "Base/Utf8.hpp"
#include "Fuzz/FuzzCheck.hpp"
#include "Preview/PreviewMessage.hpp"

using namespace dovra;

// Whatever a decoder says, a picture has the pixels that its sides need, facts can be shown, and what was
// taken is taken once more.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr int mostPixels = 64;
    const auto message = lastPreviewMessage({reinterpret_cast<const char*>(data), size}, mostPixels);
    if (!message) return 0;
    const auto& [width, height, pixels] = message->picture;
    fuzzCheck(std::min(width, height) >= 0 && std::max(width, height) <= mostPixels, "the sides are bounded");
    fuzzCheck(pixels.size() == 4 * static_cast<std::size_t>(width * height), "the pixels fill the picture");
    for (const auto& [label, value] : message->facts)
        for (const std::string& text : {label, value})
            fuzzCheck(text.size() <= 512 && visibleText(text) == text, "a fact can be shown");
    const std::string again = previewHeader(width, height, message->facts);
    fuzzCheck(
        again.size() > mostPreviewHeaderBytes || lastPreviewMessage(again + pixels, mostPixels) == message,
        "a message stands for itself");
    return 0;
}
