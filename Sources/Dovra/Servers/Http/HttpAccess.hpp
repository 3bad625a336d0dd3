#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Servers/Http/HttpRequestHead.hpp"

namespace dovra {

/// Who may ask: decides from a request's head, before anything is done for it. It keeps foreign pages in a
/// browser of ours from asking in its place, and with a token everybody who does not know that.
class HttpAccess {
public:
    /// `boundHost` is what the server was told to listen on. No token is asked for when it is empty.
    HttpAccess(std::string boundHost, std::uint16_t port, std::string token);

    /// What to answer instead, when the request may not be handled: a refusal, or to somebody who brings the
    /// token in the address the cookie that stands for it and the way to the first page.
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
