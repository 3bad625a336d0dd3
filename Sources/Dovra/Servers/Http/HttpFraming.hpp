#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Servers/Http/HttpMessage.hpp"
#include "Servers/Http/HttpRequestHead.hpp"

namespace dovra {

/// The bytes of one answer on the connection: the head, then the body, then that part of the file.
struct HttpOutput {
    std::string head;
    std::string body;
    std::optional<HttpFile> file;
    std::uint64_t offset = 0;  ///< in the file
    std::uint64_t count = 0;   ///< bytes of the file
};

/// Puts the answer into the form of HTTP/1.1: with the headers that restrict browsers to the needs of the
/// pages, without a body for "HEAD", and with the requested part of a file. Throws
/// `std::invalid_argument` when a header holds a control character.
HttpOutput framed(const HttpRequestHead& asked, HttpResponse response);

}  // namespace dovra
