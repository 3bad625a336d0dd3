#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "Fuzz/FuzzCheck.hpp"
#include "Servers/Http/HttpAccess.hpp"
#include "Servers/Http/HttpFraming.hpp"

namespace {

using namespace dovra;

std::string percentEncoded(std::string_view bytes) {
    constexpr std::string_view digits = "0123456789abcdef";
    std::string encoded;
    for (const char c : bytes) {
        const auto byte = static_cast<std::uint8_t>(c);
        encoded += {'%', digits[byte / 16], digits[byte % 16]};
    }
    return encoded;
}

}  // namespace

// Any bytes are a head or none, and what is answered holds no more lines than we put there.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    fuzzCheck(percentDecoded(percentEncoded(bytes)) == bytes, "decoding undoes encoding");
    const HttpParameters once = parseQueryString(bytes);
    std::string again;
    for (const auto& [name, value] : once)
        again += percentEncoded(name) + "=" + percentEncoded(value) + "&";
    fuzzCheck(parseQueryString(again) == once, "parameters stand for themselves");

    const auto head = parseRequestHead(bytes);
    if (!head) return 0;
    auto refusal = HttpAccess("localhost", 80, "secret").answerInstead(*head);
    const std::size_t extra = refusal ? refusal->extraHeaders.size() : 0;
    const std::string sent = framed(*head, refusal ? *std::move(refusal) : HttpResponse{}).head;
    std::size_t lines = 0;
    for (std::size_t at = sent.find("\r\n"); at != std::string::npos; at = sent.find("\r\n", at + 2))
        ++lines;
    fuzzCheck(lines == 10 + extra && sent.ends_with("\r\n\r\n"), "the answer's head has our lines only");
    return 0;
}
