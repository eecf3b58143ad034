#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace vantry::mqtt {

/// A message to or from a broker. The last three fields exist in version 5 only.
struct Message {
    std::string topic;
    std::string payload;
    int qos = 0;
    bool retain = false;
    std::string responseTopic = {};
    std::string correlation = {};
    std::optional<std::uint32_t> expirySeconds = {};
};

}  // namespace vantry::mqtt
