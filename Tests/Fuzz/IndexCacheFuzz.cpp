#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "Diagnostics/IndexCheck.hpp"
#include "Fuzz/FuzzCheck.hpp"
#include "Index/IndexImage.hpp"
#include "Support/IndexImages.hpp"
#include "Support/RawIndexImage.hpp"

namespace dovra {

namespace {

/// Most files that chance makes fall at the first length. So what does not begin like a cache file is a list
/// of changes to a sound one: of three bytes each, two that choose a byte and one to add to it.
std::string fileOf(std::string_view input) {
    if (input.starts_with("DOVRA")) return std::string(input);
    std::string bytes = test::soundIndexImage().bytes();
    for (; input.size() >= 3; input.remove_prefix(3)) {
        const auto low = static_cast<std::uint8_t>(input[0]);
        const auto high = static_cast<std::uint8_t>(input[1]);
        char& changed = bytes[(low + 256U * high) % bytes.size()];
        changed = static_cast<char>(changed + input[2]);
    }
    return bytes;
}

/// Whatever stands in a cache file: what is refused changes nothing, and what is loaded is a sound index,
/// which is the same after it was written and read again.
void checkLoading(std::string_view bytes) {
    FileIndex index;
    index.attachTrigramIndex(std::make_shared<TrigramIndex>());
    if (!test::loadBytes(index, bytes)) {
        fuzzCheck(index.generation() == 0 && index.itemCount() == 0, "a refused file changes nothing");
        return;
    }
    for (const std::string& violation : indexViolations(index))
        fuzzCheck(false, violation.c_str());
    const std::string written = test::imageOf(index);
    FileIndex again;
    fuzzCheck(test::loadBytes(again, written).has_value(), "what is written can be read");
    fuzzCheck(indexViolations(again).empty(), "what is written is sound");
    fuzzCheck(test::imageOf(again) == written, "an index survives a save");
}

}  // namespace

}  // namespace dovra

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    dovra::checkLoading(dovra::fileOf({reinterpret_cast<const char*>(data), size}));
    return 0;
}
