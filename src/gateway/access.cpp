// Who is answered.
//
// The port in Host is not compared with that of the gateway: a tunnel or a forwarded port changes
// it, and a page that was loaded from another name can't change the name. Host and Origin are
// compared with each other, port included, so that another server on the same machine is another
// origin.

#include "gateway/access.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <utility>

#include "gateway/error_response.h"

namespace vantry::gateway {
namespace {

std::string Lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](char letter) {
        return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
    });
    return text;
}

/// A name or an address without brackets, and a port, which is empty for the usual one.
struct Authority {
    std::string name;
    std::string port;
};

/// Reads "NAME", "NAME:PORT", "[ADDRESS]" or "[ADDRESS]:PORT". Returns nothing for another text.
std::optional<Authority> AuthorityIn(const std::string& text) {
    Authority authority;
    std::string rest = Lower(text);
    if (rest.starts_with('[')) {
        const std::size_t end = rest.find(']');
        if (end == std::string::npos) {
            return std::nullopt;
        }
        authority.name = rest.substr(1, end - 1);
        rest.erase(0, end + 1);
    } else {
        authority.name = rest.substr(0, rest.find(':'));
        rest.erase(0, authority.name.size());
    }
    if (!rest.empty()) {
        authority.port = rest.substr(1);
        if (rest.front() != ':' || authority.port.empty() || authority.port.size() > 5 ||
            authority.port.find_first_not_of("0123456789") != std::string::npos) {
            return std::nullopt;
        }
    }
    if (authority.name.empty() || authority.name.find_first_of("/@?#\\ ") != std::string::npos) {
        return std::nullopt;
    }
    return authority;
}

/// Returns whether the origin is the one from which Host was reached. A proxy may have ended the
/// encryption, so both schemes are.
bool IsSameOrigin(const std::string& origin, const Authority& host) {
    for (const auto& [scheme, port] : {std::pair{"http://", "80"}, std::pair{"https://", "443"}}) {
        if (!origin.starts_with(scheme)) {
            continue;
        }
        const auto other = AuthorityIn(origin.substr(std::string(scheme).size()));
        const auto orUsual = [&usual = port](const std::string& given) {
            return given.empty() ? std::string(usual) : given;
        };
        return other && other->name == host.name && orUsual(other->port) == orUsual(host.port);
    }
    return false;
}

bool IsLoopback(const std::string& address) {
    return address.starts_with("127.") || address == "::1";
}

}  // namespace

Access::Access(Tokens given, const std::set<std::string>& names) : tokens(std::move(given)) {
    for (const std::string& name : names) {
        ownNames.insert(Lower(name));
    }
    std::array<char, 256> machine{};
    if (gethostname(machine.data(), machine.size() - 1) == 0 && machine[0] != '\0') {
        const std::string name = Lower(machine.data());
        ownNames.insert(name);
        ownNames.insert(name.substr(0, name.find('.')) + ".local");
    }
}

bool Access::IsOwnName(const std::string& name, const std::string& localAddress) const {
    return name == localAddress || (name == "localhost" && IsLoopback(localAddress)) ||
           ownNames.contains(name);
}

std::optional<Response> Access::RefuseOrigin(const Request& request) const {
    const auto host = AuthorityIn(request.host);
    if (!host) {
        return ErrorResponse(400, "the header Host is missing or wrong");
    }
    if (!IsOwnName(host->name, request.localAddress)) {
        return ErrorResponse(
            421, "\"" + host->name + "\" is no name of this gateway; --host adds a name");
    }
    if (!request.origin.empty() && !IsSameOrigin(Lower(request.origin), *host)) {
        return ErrorResponse(403, "pages of another origin may not use this gateway");
    }
    return std::nullopt;
}

std::optional<Response> Access::RefuseStranger(const Request& request) const {
    if (tokens.RightOf(request.authorization) != Right::Nothing) {
        return std::nullopt;
    }
    Response response =
        ErrorResponse(401, "this gateway needs a token: Authorization: Bearer TOKEN");
    response.headers.emplace_back("WWW-Authenticate", "Bearer realm=\"vantry\"");
    return response;
}

bool Access::MayWrite(const Request& request) const {
    return tokens.RightOf(request.authorization) == Right::Write;
}

}  // namespace vantry::gateway
