#include "Servers/Http/HttpRequestHead.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

#include "Base/AsciiFold.hpp"
#include "Base/Utf8.hpp"

namespace dovra {

namespace {

/// Only these are kept, so a head of thousands of other headers costs no memory.
constexpr std::array<std::string_view, 8> knownHeaders = {
    "authorization", "cookie", "host", "if-range", "origin", "range", "sec-fetch-dest", "sec-fetch-site"};

/// Cuts the part before the first separator, and the separator, off `text`; all of it without a separator.
std::string_view cutAt(std::string_view& text, std::string_view separator) {
    const std::size_t end = text.find(separator);
    const std::string_view part = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + separator.size());
    return part;
}

std::string_view cutWord(std::string_view& line) {
    line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
    return cutAt(line, " ");
}

std::string_view trimmed(std::string_view value) {
    constexpr std::string_view space = " \t";
    const std::size_t begin = value.find_first_not_of(space);
    if (begin == std::string_view::npos) return {};
    return value.substr(begin, value.find_last_not_of(space) + 1 - begin);
}

void addHeader(HttpRequestHead& head, std::string_view line) {
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos) return;
    const std::string_view name = line.substr(0, colon);
    const auto* known = std::ranges::find_if(
        knownHeaders, [&](std::string_view candidate) { return equalAsciiFolded(name, candidate); });
    if (known == knownHeaders.end()) return;
    const auto [header, isNew] = head.headers.try_emplace(std::string(*known));
    if (!isNew) header->second += ", ";
    header->second += trimmed(line.substr(colon + 1));
}

std::string decodedOrAsSent(std::string_view text) {
    return percentDecoded(text).value_or(std::string(text));
}

/// As forms encode it: a plus sign stands for a space.
std::string decodedFormText(std::string_view text) {
    std::string spaced(text);
    std::ranges::replace(spaced, '+', ' ');
    return percentDecoded(spaced).value_or(std::string(text));
}

}  // namespace

std::optional<std::string_view> HttpRequestHead::header(std::string_view name) const {
    const auto found = headers.find(name);
    return found == headers.end() ? std::nullopt : std::optional<std::string_view>(found->second);
}

std::optional<HttpRequestHead> parseRequestHead(std::string_view text) {
    if (!isValidUtf8(text)) return std::nullopt;
    std::string_view requestLine = cutAt(text, "\r\n");
    HttpRequestHead head;
    head.request.method = cutWord(requestLine);
    std::string_view target = cutWord(requestLine);
    if (head.request.method.empty() || target.empty()) return std::nullopt;
    head.request.path = decodedOrAsSent(cutAt(target, "?"));
    head.request.query = parseQueryString(target);
    while (!text.empty())
        addHeader(head, cutAt(text, "\r\n"));
    return head;
}

std::optional<std::string> percentDecoded(std::string_view text) {
    std::string decoded;
    decoded.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            decoded += text[i];
            continue;
        }
        const std::string_view digits = text.substr(i + 1, 2);
        unsigned char byte = 0;
        const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), byte, 16);
        if (error != std::errc{} || end != digits.data() + 2) return std::nullopt;
        decoded += static_cast<char>(byte);
        i += 2;
    }
    return decoded;
}

HttpParameters parseQueryString(std::string_view text) {
    HttpParameters parameters;
    while (!text.empty()) {
        std::string_view value = cutAt(text, "&");
        if (value.empty()) continue;
        std::string name = decodedFormText(cutAt(value, "="));
        parameters.insert_or_assign(std::move(name), decodedFormText(value));
    }
    return parameters;
}

}  // namespace dovra
