#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>

#include "Platform/RegularFile.hpp"

namespace dovra {

/// Parameters of a query string, decoded; the last of several with one name counts.
using HttpParameters = std::map<std::string, std::string, std::less<>>;

/// One request as its handler sees it.
struct HttpRequest {
    std::string method;    ///< as sent: "GET", "HEAD", ...
    std::string path;      ///< percent-decoded, so of any bytes; as sent when it cannot be decoded
    HttpParameters query;  ///< of any bytes too
};

/// A file whose contents are an answer's body: open, and regular.
using HttpFile = RegularFile;

/// One answer. With `file`, the body is that file's contents, streamed, and the server applies byte ranges.
struct HttpResponse {
    int status = 200;
    std::string statusText = "OK";
    std::string contentType;
    std::string body;
    /// Replace the headers of the same names that the server sends with every answer. A control character in
    /// a value makes the whole answer a fault of the server, because foreign text must be encoded.
    std::map<std::string, std::string> extraHeaders;
    std::optional<HttpFile> file;
};

}  // namespace dovra
