#pragma once

#include <string>

namespace vantry::gateway {

/// Returns the description of the interface, an OpenAPI document. The build embeds it from
/// openapi.json.
const std::string& OpenApiDocument();

}  // namespace vantry::gateway
