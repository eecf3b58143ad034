#pragma once

#include <string>

#include "gateway/http_message.h"

namespace vantry::gateway {

/// How a response travels.
struct Framing {
    bool isChunked = false;
    bool keepAlive = false;
    /// Whether the Content-Length is unknown.
    bool hasUnknownLength = false;
};

/// Returns the head of a response, with the headers that keep browsers from doing more with it than
/// it is meant for.
std::string HeadText(const Response& response, const Framing& framing);
/// Returns the text as a chunk of a chunked body. An empty text ends the body.
std::string ChunkText(const std::string& text);

}  // namespace vantry::gateway
