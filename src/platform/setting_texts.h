#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/hub_settings.h"

namespace vantry {

// The text forms of settings, for command lines and environment variables. Each function returns
// nothing if the text doesn't have the form that is described. All of them are thread-safe.

/// Reads "in-place" or "replace".
std::optional<Saves> SavesFrom(std::string_view text);
/// Reads "any", "own" or "none".
std::optional<ExternalReports> ExternalReportsFrom(std::string_view text);
/// Reads a decimal number from 0 to 65535, without a sign or blanks.
std::optional<std::uint16_t> PortFrom(std::string_view text);
/// Reads an IPv4 address in dotted form. The result is in host order.
std::optional<std::uint32_t> AddressFrom(const std::string& text);

}  // namespace vantry
