#pragma once

#include <string>

#include "Servers/Http/HttpMessage.hpp"

namespace dovra {

/// The answer to a refused or failed request: JSON with a member "error" if the request wants JSON, else the
/// message as plain text.
HttpResponse errorResponse(const HttpRequest& request, int status, std::string statusText,
                           const std::string& message);

}  // namespace dovra
