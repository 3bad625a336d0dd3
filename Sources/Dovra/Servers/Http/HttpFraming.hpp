#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Servers/Http/HttpMessage.hpp"
#include "Servers/Http/HttpRequestHead.hpp"

namespace dovra {

/// What goes over the connection for one answer: the head, then the body, then that part of the file.
struct HttpOutput {
    std::string head;
    std::string body;
    std::optional<HttpFile> file;
    std::uint64_t offset = 0;  ///< in the file
    std::uint64_t count = 0;   ///< bytes of the file
};

/// Puts the answer into the form of HTTP/1.1: with the headers that keep browsers from doing more than our
/// pages need, without a body for "HEAD", and with the part of a file that was asked for. Throws
/// `std::invalid_argument` when a header holds a control character.
HttpOutput framed(const HttpRequestHead& asked, HttpResponse response);

}  // namespace dovra
