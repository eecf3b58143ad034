#pragma once

#include <boost/beast/core/string.hpp>
#include <boost/beast/http/error.hpp>
#include <boost/beast/http/fields.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/system/error_code.hpp>
#include <optional>
#include <string>

#include "gateway/error_response.h"
#include "gateway/http_message.h"

// What the library that reads requests gives, as the rest of the gateway has it.

namespace vantry::gateway {

namespace http = boost::beast::http;

/// Returns the request whose head was read, without its body. Two headers Host are none, because
/// two programs could each believe another one.
inline Request RequestWith(const http::request_header<>& head) {
    const auto field = [&head](http::field name) { return std::string(head[name]); };
    Request request;
    request.method = std::string(head.method_string());
    request.target = std::string(head.target());
    request.host = head.count(http::field::host) == 1 ? field(http::field::host) : "";
    request.origin = field(http::field::origin);
    request.authorization = field(http::field::authorization);
    request.accept = field(http::field::accept);
    request.contentType = field(http::field::content_type);
    request.lastEventId = std::string(head["Last-Event-ID"]);
    request.ifNoneMatch = field(http::field::if_none_match);
    return request;
}

/// Returns whether the head says where its body ends in a way that every program understands alike.
/// Otherwise a proxy could take for a body what is a request here, or the other way round.
inline bool HasClearLength(const http::request_header<>& head) {
    const auto count = head.count(http::field::transfer_encoding);
    return count == 0 || (count == 1 && head.version() == 11 &&
                          boost::beast::iequals(head[http::field::transfer_encoding], "chunked"));
}

/// Returns the response to a text that couldn't be read as a request, or nothing if the client has
/// gone.
inline std::optional<Response> ResponseTo(boost::system::error_code error) {
    if (error == http::error::header_limit) {
        return ErrorResponse(431, "the head of the request is too long");
    }
    if (error == http::error::body_limit) {
        return ErrorResponse(413, "the body of the request is too long");
    }
    const bool isWrongText =
        error.category() == make_error_code(http::error::bad_target).category();
    if (isWrongText && error != http::error::end_of_stream &&
        error != http::error::partial_message) {
        return ErrorResponse(400, "this is no request of HTTP/1.1");
    }
    return std::nullopt;
}

}  // namespace vantry::gateway
