#include "client/endpoint.h"

#include <algorithm>
#include <charconv>
#include <utility>

namespace vantry::client {

Endpoint Endpoint::Device(std::string path) { return {std::move(path), "", 0}; }

Endpoint Endpoint::Tcp(std::string host, std::uint16_t port) { return {"", std::move(host), port}; }

Result<Endpoint> Endpoint::ParseTcp(const std::string& text) {
    if (text.starts_with('[') || std::count(text.begin(), text.end(), ':') > 1) {
        return Error{ErrorCode::Refused,
                     "'" + text + "' is an address of IPv6; the hub listens on IPv4 only"};
    }
    const std::size_t colon = text.rfind(':');
    const std::string host = text.substr(0, colon);
    if (host.empty()) {
        return Error{ErrorCode::Refused, "'" + text + "' names no host"};
    }
    if (colon == std::string::npos) {
        return Tcp(host);
    }
    std::uint16_t port = 0;
    const char* const end = text.data() + text.size();
    const auto parsed = std::from_chars(text.data() + colon + 1, end, port);
    if (parsed.ec != std::errc{} || parsed.ptr != end) {
        return Error{ErrorCode::Refused, "'" + text.substr(colon + 1) + "' is no port"};
    }
    return Tcp(host, port);
}

std::string Endpoint::Name() const {
    return path.empty() ? host + ":" + std::to_string(port) : path;
}

}  // namespace vantry::client
