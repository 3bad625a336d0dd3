#include "Servers/Http/HttpAccess.hpp"

#include <algorithm>
#include <fmt/format.h>
#include <utility>

#include "Base/AsciiFold.hpp"
#include "Servers/Http/HttpError.hpp"

namespace dovra {

namespace {

HttpResponse forbidden(const HttpRequestHead& head, const std::string& message) {
    return errorResponse(head.request, 403, "Forbidden", message);
}

/// The host of "host:port", with the brackets of an IPv6 address.
std::string_view withoutPort(std::string_view host) {
    const std::size_t colon = host.rfind(':');
    const bool isInBrackets =
        colon != std::string_view::npos && host.find(']', colon) != std::string_view::npos;
    return isInBrackets ? host : host.substr(0, colon);
}

/// Whether the host is an address and so no name, which its owner could have lead here: browsers take digits
/// and dots, and text in brackets, for an address.
bool isAddress(std::string_view host) {
    if (host.starts_with('[')) return host.ends_with(']');
    return !host.empty() && host.find_first_not_of("0123456789.") == std::string_view::npos;
}

/// Whether the browser marks the request as that of a foreign page. A followed link does no harm.
bool isAskedByForeignPage(const HttpRequestHead& head) {
    const auto site = head.header("sec-fetch-site");
    if (!site || *site == "same-origin" || *site == "none") return false;
    return head.header("sec-fetch-dest") != "document";
}

bool isForeignOrigin(const HttpRequestHead& head) {
    const auto origin = head.header("origin");
    return origin && !equalAsciiFolded(*origin, fmt::format("http://{}", head.header("host").value_or("")));
}

}  // namespace

HttpAccess::HttpAccess(std::string boundHost, std::uint16_t port, std::string token)
    : boundHost_(std::move(boundHost)),
      token_(std::move(token)),
      cookieName_(fmt::format("dovra-{}", port)) {}

std::optional<HttpResponse> HttpAccess::answerInstead(const HttpRequestHead& head) const {
    // A client that names no host is no browser.
    const auto host = head.header("host");
    if (host && !isOurHost(*host)) {
        return forbidden(
            head,
            "This server does not go by that name. Use its address, or start it with --host and the name.");
    }
    if (isForeignOrigin(head) || isAskedByForeignPage(head))
        return forbidden(head, "Pages of other servers may not ask this one.");
    if (token_.empty()) return std::nullopt;

    const auto given = head.request.query.find("token");
    if (given != head.request.query.end() && isToken(given->second)) {
        // The address with the token must not stay in the browser's address field.
        HttpResponse welcome = errorResponse(head.request, 303, "See Other", "Go to the first page.");
        welcome.extraHeaders = {
            {"Location", "/"},
            {"Set-Cookie", fmt::format("{}={}; Path=/; HttpOnly; SameSite=Strict", cookieName_, token_)}};
        return welcome;
    }
    if (knowsToken(head)) return std::nullopt;
    HttpResponse refusal =
        errorResponse(head.request, 401, "Unauthorized",
                      "This server asks for the token in the address that it printed when it started.");
    refusal.extraHeaders["WWW-Authenticate"] = "Bearer";
    return refusal;
}

std::string HttpAccess::addressSuffix() const {
    return token_.empty() ? "" : "?token=" + token_;
}

bool HttpAccess::isOurHost(std::string_view host) const {
    host = withoutPort(host);
    return isAddress(host) || equalAsciiFolded(host, "localhost") || equalAsciiFolded(host, boundHost_);
}

bool HttpAccess::knowsToken(const HttpRequestHead& head) const {
    constexpr std::string_view scheme = "Bearer ";
    const std::string_view authorization = head.header("authorization").value_or("");
    if (equalAsciiFolded(authorization.substr(0, scheme.size()), scheme) &&
        isToken(authorization.substr(scheme.size())))
        return true;
    std::string_view cookies = head.header("cookie").value_or("");
    while (!cookies.empty()) {
        cookies.remove_prefix(std::min(cookies.find_first_not_of(" ;"), cookies.size()));
        const std::string_view cookie = cookies.substr(0, cookies.find(';'));
        cookies.remove_prefix(cookie.size());
        if (cookie.starts_with(cookieName_ + "=") && isToken(cookie.substr(cookieName_.size() + 1)))
            return true;
    }
    return false;
}

/// Takes the same time for all texts of the token's length, so that the time tells nothing of the token.
bool HttpAccess::isToken(std::string_view text) const {
    if (text.size() != token_.size()) return false;
    unsigned difference = 0;
    for (std::size_t i = 0; i < text.size(); ++i)
        difference |= static_cast<unsigned char>(text[i] ^ token_[i]);
    return difference == 0;
}

}  // namespace dovra
