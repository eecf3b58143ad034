#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace vantry::gateway {

// A request and its response, apart from the library that carries them. Only server.cpp and its
// headers know that library, so the rest compiles quickly and is tested without sockets.

/// A request whose head the server has read. A header that the client didn't send is empty.
struct Request {
    std::string method;
    /// The target as it was sent: path and query, not decoded.
    std::string target;
    std::string host;
    std::string origin;
    std::string authorization;
    std::string accept;
    std::string contentType;
    std::string lastEventId;
    std::string ifNoneMatch;
    /// The address of this machine to which the client has connected, such as "127.0.0.1".
    std::string localAddress;
    std::string body;
};

/// Produces a body in parts, so that a long one, or one without an end, never is in memory as a
/// whole. Used on the thread of the server only.
class BodySource {
public:
    virtual ~BodySource() = default;
    /// Returns the next part, an empty text if there is none at present, or nothing at the end.
    virtual std::optional<std::string> Next() = 0;
    /// Returns whether the body has no end, so that the connection is closed after it.
    virtual bool IsEndless() const { return false; }
};

/// A response. Whoever makes one sets what differs from an answer of 200 with a JSON body; the
/// server adds the length or the chunks, and the headers that every response has.
struct Response {
    unsigned status = 200;
    std::string contentType = "application/json";
    std::vector<std::pair<std::string, std::string>> headers = {};
    std::string body = {};
    /// If it isn't empty, it produces the body in place of `body`.
    std::unique_ptr<BodySource> source = {};
};

/// Takes the response to a request. Called exactly once, on the thread of the server.
using Reply = std::function<void(Response)>;

/// Answers the requests that the server receives. All operations are called on its thread.
class RequestHandler {
public:
    virtual ~RequestHandler() = default;
    /// Returns the response that refuses a request before its body is read, or nothing.
    virtual std::optional<Response> Refusal(const Request& request) = 0;
    /// Answers a request that wasn't refused, now or later. Must not block.
    virtual void Handle(Request request, Reply reply) = 0;
    /// Called once a second.
    virtual void Tick() = 0;
};

}  // namespace vantry::gateway
