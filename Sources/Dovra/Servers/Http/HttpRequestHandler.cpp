#include "Servers/Http/HttpRequestHandler.hpp"

#include <fmt/format.h>

#include "Servers/Http/HttpError.hpp"

namespace dovra {

bool HttpRequestHandler::isSlow(const HttpRequest& request) const {
    (void)request;
    return false;
}

HttpResponse HttpRequestHandler::handle(const HttpRequest& request, const std::stop_token& stop) const {
    (void)stop;
    if (request.method != "GET" && request.method != "HEAD")
        return errorResponse(request, 405, "Method Not Allowed", "Method Not Allowed");
    if (request.path != "/") return errorResponse(request, 404, "Not Found", "There is no such page.");
    HttpResponse response;
    response.contentType = "text/plain; charset=utf-8";
    response.body = fmt::format("{} items · downloads {}\n", service_.index().itemCount(), allowsDownload_);
    return response;
}

}  // namespace dovra
