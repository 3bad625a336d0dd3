#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Servers/Http/HttpRequestHead.hpp"

namespace dovra {

/// Admits or refuses a client by its request's head, before any work. It refuses requests that foreign pages
/// make through the user's browser. With a token it refuses all clients that do not know it.
class HttpAccess {
public:
    /// `boundHost` is the host that the server was told to listen on. An empty token admits all.
    HttpAccess(std::string boundHost, std::uint16_t port, std::string token);

    /// The answer in place of the handler's, if any: a refusal; or, for the token in the address, the cookie
    /// that stands for it and a redirection to the first page.
    std::optional<HttpResponse> answerInstead(const HttpRequestHead& head) const;

    /// "?token=..." for the address of the first page; empty without a token.
    std::string addressSuffix() const;

private:
    bool isOurHost(std::string_view host) const;
    bool knowsToken(const HttpRequestHead& head) const;
    bool isToken(std::string_view text) const;

    std::string boundHost_;
    std::string token_;
    std::string cookieName_;  ///< with the port: a browser sends one host's cookies to all its ports
};

}  // namespace dovra
