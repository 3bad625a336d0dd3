#include "Servers/Http/HttpFraming.hpp"

#include <algorithm>
#include <charconv>
#include <fmt/format.h>
#include <limits>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "Base/AsciiFold.hpp"
#include "Servers/Http/HttpError.hpp"

namespace dovra {

namespace {

/// A page may load from this server alone, runs no script that stands in it, cannot be embedded, is not
/// cached, and does not tell other servers its address.
const std::map<std::string, std::string>& usualHeaders() {
    static const std::map<std::string, std::string> headers = {
        {"Cache-Control", "no-store"},
        {"Content-Security-Policy",
         "default-src 'none'; style-src 'self'; script-src 'self'; img-src 'self'; connect-src 'self'; "
         "form-action 'self'; base-uri 'none'; frame-ancestors 'none'"},
        {"Cross-Origin-Resource-Policy", "same-origin"},
        {"Referrer-Policy", "no-referrer"},
        {"X-Content-Type-Options", "nosniff"},
    };
    return headers;
}

void checkHeader(std::string_view text) {
    const auto isControl = [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; };
    if (std::ranges::any_of(text, isControl))
        throw std::invalid_argument("a header of an answer holds a control character");
}

std::string headText(const HttpResponse& response, std::uint64_t length) {
    auto headers = response.extraHeaders;
    headers.insert(usualHeaders().begin(), usualHeaders().end());
    std::string text = fmt::format("HTTP/1.1 {} {}\r\nContent-Type: {}\r\nContent-Length: {}\r\n",
                                   response.status, response.statusText, response.contentType, length);
    for (const auto& [name, value] : headers) {
        checkHeader(value);
        text += fmt::format("{}: {}\r\n", name, value);
    }
    return text + "Connection: close\r\n\r\n";
}

struct ByteRange {
    std::uint64_t offset = 0;
    std::uint64_t count = 0;  ///< 0 when nothing of what was asked for is there
};

/// A decimal number, saturating; absent for anything else.
std::optional<std::uint64_t> number(std::string_view text) {
    std::uint64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (end != text.data() + text.size() || text.empty()) return std::nullopt;
    if (error == std::errc::result_out_of_range) return std::numeric_limits<std::uint64_t>::max();
    return error == std::errc{} ? std::optional(value) : std::nullopt;
}

/// The range that a header "Range" means in a file of that size. Absent when the whole file is to be sent,
/// as for several ranges at once.
std::optional<ByteRange> rangeOf(std::string_view header, std::uint64_t size) {
    constexpr std::string_view unit = "bytes=";
    const std::size_t dash = header.find('-');
    if (!equalAsciiFolded(header.substr(0, unit.size()), unit) || dash == std::string_view::npos)
        return std::nullopt;
    const std::string_view firstText = header.substr(unit.size(), dash - unit.size());
    const std::string_view lastText = header.substr(dash + 1);
    const auto last = number(lastText);
    if (firstText.empty()) {
        if (!last) return std::nullopt;
        return ByteRange{size - std::min(*last, size), std::min(*last, size)};
    }
    const auto first = number(firstText);
    if (!first || (!last && !lastText.empty()) || (last && *last < *first)) return std::nullopt;
    if (*first >= size) return ByteRange{};
    const std::uint64_t end = last && *last < size ? *last + 1 : size;
    return ByteRange{*first, end - *first};
}

/// The range of the response's file that the request wants, if any. No answer names a version of a file, so
/// the part that a client holds may be of another version.
std::optional<ByteRange> rangeAsked(const HttpRequestHead& asked, const HttpResponse& response) {
    const auto header = asked.header("range");
    if (!header || !response.file || response.status != 200 || asked.request.method != "GET" ||
        asked.header("if-range"))
        return std::nullopt;
    return rangeOf(*header, response.file->size());
}

HttpResponse partialResponse(const HttpRequest& request, const ByteRange& range, std::uint64_t size,
                             HttpResponse whole) {
    if (range.count == 0) {
        HttpResponse refusal = errorResponse(request, 416, "Range Not Satisfiable", "The file is shorter.");
        refusal.extraHeaders["Content-Range"] = fmt::format("bytes */{}", size);
        return refusal;
    }
    whole.status = 206;
    whole.statusText = "Partial Content";
    whole.extraHeaders["Content-Range"] =
        fmt::format("bytes {}-{}/{}", range.offset, range.offset + range.count - 1, size);
    return whole;
}

}  // namespace

HttpOutput framed(const HttpRequestHead& asked, HttpResponse response) {
    HttpOutput output;
    if (response.file) {
        output.count = response.file->size();
        response.extraHeaders["Accept-Ranges"] = "bytes";
    }
    if (const auto range = rangeAsked(asked, response)) {
        response = partialResponse(asked.request, *range, output.count, std::move(response));
        output.offset = range->offset;
        output.count = range->count;
    }
    output.head = headText(response, response.file ? output.count : response.body.size());
    if (asked.request.method == "HEAD") return output;
    if (!response.file) output.body = std::move(response.body);
    output.file = std::move(response.file);
    return output;
}

}  // namespace dovra
