#pragma once

#include <string>

#include "gateway/http_message.h"

namespace vantry::gateway {

/// Returns a response with the body {"error": text}. Bytes of the text that aren't UTF-8 are
/// replaced.
Response ErrorResponse(unsigned status, const std::string& text);

/// Returns the response to a request for which there is no room now, and which the client may send
/// again after two seconds. `why` is a clause without a full stop.
Response BusyResponse(const std::string& why);

}  // namespace vantry::gateway
