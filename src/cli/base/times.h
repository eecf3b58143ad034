#pragma once

#include <chrono>
#include <string>

#include "client/result.h"

namespace vantry::cli {

/// Parses a duration such as "10", "10s", "500ms", "2m", "1.5h", "7d" or "4w"; a number alone means
/// seconds. Returns Refused, with an example, for any other text, and for more than ten years.
client::Result<std::chrono::milliseconds> ParseDuration(const std::string& text);
/// Returns a duration in its largest unit, such as "350ms", "12s", "3m" or "2d".
std::string ShortDuration(std::chrono::milliseconds duration);

/// Returns the local time of day, as "14:05:09.120".
std::string TimeOfDay(std::chrono::system_clock::time_point when);
/// Returns the local date and time by RFC 3339, as "2026-11-25T14:05:09.120+01:00".
std::string FullTime(std::chrono::system_clock::time_point when);

}  // namespace vantry::cli
