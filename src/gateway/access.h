#pragma once

#include <optional>
#include <set>
#include <string>
#include <utility>

#include "gateway/http_message.h"
#include "gateway/tokens.h"

namespace vantry::gateway {

/// Decides which requests are answered at all. A page of another site that a browser shows must not
/// reach the printer through that browser: the header Host must name this machine, so that a name
/// that was pointed at this address is refused, and Origin, where a browser sends it, must be the
/// address of the request itself. Used by one thread.
class Access {
public:
    /// `names` are further names of this machine, such as that of a proxy in front of it.
    Access(Tokens tokens, const std::set<std::string>& names);

    /// Returns the response to a request from a wrong host or origin: 400, 421 or 403; or nothing.
    std::optional<Response> RefuseOrigin(const Request& request) const;
    /// Returns the response to a request without a token: 401; or nothing.
    std::optional<Response> RefuseStranger(const Request& request) const;
    /// Returns whether the request may write, as far as its token is concerned.
    bool MayWrite(const Request& request) const;
    /// Replaces the tokens.
    void SetTokens(Tokens renewed) { tokens = std::move(renewed); }

private:
    bool IsOwnName(const std::string& name, const std::string& localAddress) const;

    Tokens tokens;
    /// In lower case.
    std::set<std::string> ownNames;
};

}  // namespace vantry::gateway
