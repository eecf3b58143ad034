// The heads of responses. All of them have the same headers of protection, whatever their status,
// and none may be stored by a cache unless the response says otherwise.

#include "gateway/response_text.h"

#include <array>
#include <cstdio>

namespace vantry::gateway {
namespace {

/// Everything comes from this gateway, and nothing else may show it in a frame or read it. No
/// script or style stands in the page itself, so the policy needs no exceptions.
constexpr char kPolicy[] =
    "Content-Security-Policy: default-src 'none'; script-src 'self'; style-src 'self'; "
    "img-src 'self'; font-src 'self'; connect-src 'self'; worker-src 'self'; manifest-src 'self'; "
    "base-uri 'none'; form-action 'none'; frame-ancestors 'none'\r\n"
    "Cross-Origin-Opener-Policy: same-origin\r\n"
    "Cross-Origin-Resource-Policy: same-origin\r\n"
    "Referrer-Policy: no-referrer\r\n"
    "X-Content-Type-Options: nosniff\r\n";

const char* ReasonOf(unsigned status) {
    switch (status) {
        case 200:
            return "OK";
        case 304:
            return "Not Modified";
        case 400:
            return "Bad Request";
        case 401:
            return "Unauthorized";
        case 403:
            return "Forbidden";
        case 404:
            return "Not Found";
        case 405:
            return "Method Not Allowed";
        case 409:
            return "Conflict";
        case 413:
            return "Content Too Large";
        case 415:
            return "Unsupported Media Type";
        case 421:
            return "Misdirected Request";
        case 422:
            return "Unprocessable Content";
        case 431:
            return "Request Header Fields Too Large";
        case 503:
            return "Service Unavailable";
        case 504:
            return "Gateway Timeout";
        default:
            return "Unknown";
    }
}

}  // namespace

std::string HeadText(const Response& response, const Framing& framing) {
    std::string head = "HTTP/1.1 " + std::to_string(response.status) + " " +
                       ReasonOf(response.status) + "\r\nContent-Type: " + response.contentType +
                       "\r\n" + kPolicy;
    bool hasCaching = false;
    for (const auto& [name, value] : response.headers) {
        head.append(name).append(": ").append(value).append("\r\n");
        hasCaching = hasCaching || name == "Cache-Control";
    }
    if (!hasCaching) {
        head += "Cache-Control: no-store\r\n";
    }
    if (framing.isChunked) {
        head += "Transfer-Encoding: chunked\r\n";
    } else if (!framing.hasUnknownLength && response.status != 304) {
        head += "Content-Length: " + std::to_string(response.body.size()) + "\r\n";
    }
    return head + (framing.keepAlive ? "" : "Connection: close\r\n") + "\r\n";
}

std::string ChunkText(const std::string& text) {
    std::array<char, 24> size{};
    std::snprintf(size.data(), size.size(), "%zx\r\n", text.size());
    return size.data() + text + "\r\n";
}

}  // namespace vantry::gateway
