#include "Servers/Http/HttpError.hpp"

#include <utility>

#include "Base/JSONValue.hpp"
#include "Servers/Http/ParameterReader.hpp"

namespace dovra {

HttpResponse errorResponse(const HttpRequest& request, int status, std::string statusText,
                           const std::string& message) {
    HttpResponse response;
    response.status = status;
    response.statusText = std::move(statusText);
    const bool isJson = ParameterReader(request.query).flag("json");
    response.contentType = isJson ? "application/json" : "text/plain; charset=utf-8";
    response.body =
        isJson ? JSONValue(JSONObject{{"error", message}}).serializedString() + "\n" : message + "\n";
    return response;
}

}  // namespace dovra
