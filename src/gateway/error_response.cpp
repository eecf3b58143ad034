#include "gateway/error_response.h"

#include <nlohmann/json.hpp>

namespace vantry::gateway {

Response ErrorResponse(unsigned status, const std::string& text) {
    using nlohmann::json;
    Response response;
    response.status = status;
    response.body =
        json{{"error", text}}.dump(-1, ' ', false, json::error_handler_t::replace) + "\n";
    return response;
}

Response BusyResponse(const std::string& why) {
    Response response = ErrorResponse(503, why + "; try again later");
    response.headers.emplace_back("Retry-After", "2");
    return response;
}

}  // namespace vantry::gateway
