#pragma once

#include <string>

#include "Servers/Http/HttpMessage.hpp"

namespace dovra {

/// The answer to a request that is refused or failed: JSON with a member "error" where JSON was asked for,
/// else the message as plain text.
HttpResponse errorResponse(const HttpRequest& request, int status, std::string statusText,
                           const std::string& message);

}  // namespace dovra
