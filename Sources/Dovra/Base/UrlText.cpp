#include "Base/UrlText.hpp"

#include <cstdint>
#include <fmt/format.h>
#include <iterator>

#include "Base/AsciiFold.hpp"

namespace dovra {

std::string percentEncoded(std::string_view bytes, std::string_view alsoKept) {
    constexpr std::string_view kept = "-._~/0123456789";
    std::string text;
    text.reserve(bytes.size());
    for (const char c : bytes) {
        const auto byte = static_cast<std::uint8_t>(c);
        if (isAsciiLetter(byte) || kept.find(c) != std::string_view::npos ||
            alsoKept.find(c) != std::string_view::npos) {
            text += c;
        } else {
            fmt::format_to(std::back_inserter(text), "%{:02X}", byte);
        }
    }
    return text;
}

}  // namespace dovra
