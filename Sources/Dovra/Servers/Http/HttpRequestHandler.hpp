#pragma once

#include <stop_token>

#include "Servers/Http/HttpMessage.hpp"
#include "Services/IndexService.hpp"

namespace dovra {

/// Answers requests from an index.
class HttpRequestHandler {
public:
    HttpRequestHandler(const IndexService& service, bool allowsDownload)
        : service_(service), allowsDownload_(allowsDownload) {}

    /// Whether the request may take long: the server bounds how many of those run at once.
    bool isSlow(const HttpRequest& request) const;

    /// Any thread, several at once. Ends early when a stop is requested; the answer is dropped then.
    HttpResponse handle(const HttpRequest& request, const std::stop_token& stop) const;

private:
    const IndexService& service_;
    bool allowsDownload_;
};

}  // namespace dovra
