#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "Servers/Http/HttpMessage.hpp"

namespace dovra {

/// The text that a client sends before the empty line.
struct HttpRequestHead {
    HttpRequest request;
    /// The headers that the server acts on, by name in lower case. Values of one name are joined by commas.
    std::map<std::string, std::string, std::less<>> headers;

    /// The header's value; absent when it was not sent.
    std::optional<std::string_view> header(std::string_view name) const;
};

/// Reads the text of a head without the empty line at its end. Absent when it is not UTF-8 or does not begin
/// with a method and a target; other faults only leave out what they touch. Takes time in proportion to the
/// head's length.
std::optional<HttpRequestHead> parseRequestHead(std::string_view text);

/// Every "%" and two hexadecimal digits become the byte that they stand for; absent when a "%" stands alone.
std::optional<std::string> percentDecoded(std::string_view text);

/// Reads what stands behind the "?": names and values as forms encode them. A part that cannot be decoded
/// stands as it is; a name without a value has an empty one.
HttpParameters parseQueryString(std::string_view text);

}  // namespace dovra
