#pragma once

#include <string>

#include "gateway/http_message.h"

namespace vantry::gateway {

/// Returns a response with the body {"error": text}. Bytes of the text that aren't UTF-8 are
/// replaced.
Response ErrorResponse(unsigned status, const std::string& text);

}  // namespace vantry::gateway
