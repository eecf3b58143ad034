#include "cli/history/time_text.h"

#include <fmt/chrono.h>
#include <fmt/core.h>

#include <array>
#include <cstdlib>
#include <ctime>
#include <utility>

namespace vantry::cli {
namespace {

using history::Moment;

constexpr std::array<std::pair<const char*, Moment>, 6> kUnits = {{{"ms", 1000},
                                                                   {"s", history::kSecond},
                                                                   {"m", history::kMinute},
                                                                   {"h", history::kHour},
                                                                   {"d", history::kDay},
                                                                   {"w", 7 * history::kDay}}};

/// The longest length, a thousand years. Longer ones could exceed what a moment can hold.
constexpr double kLongest = 1000.0 * 366 * static_cast<double>(history::kDay);

}  // namespace

client::Result<Moment> ParseLength(const std::string& text) {
    char* rest = nullptr;
    const double number = std::strtod(text.c_str(), &rest);
    for (const auto& [name, unit] : kUnits) {
        const double length = number * static_cast<double>(unit);
        if (rest != text.c_str() && std::string(rest) == name && length > 0 && length < kLongest) {
            return static_cast<Moment>(length);
        }
    }
    return client::Error{client::ErrorCode::Refused,
                         "\"" + text + "\" is no length of time, such as 90s, 15m, 2h or 7d"};
}

client::Result<Moment> ParseMoment(const std::string& text, Moment now) {
    for (const char* format : {"%Y-%m-%d %H:%M:%S", "%Y-%m-%d %H:%M", "%Y-%m-%d"}) {
        std::tm parts{};
        const char* const end = strptime(text.c_str(), format, &parts);
        if (end != nullptr && *end == '\0') {
            parts.tm_isdst = -1;
            return static_cast<Moment>(std::mktime(&parts)) * history::kSecond;
        }
    }
    const auto length = ParseLength(text);
    if (!length) {
        return client::Error{client::ErrorCode::Refused,
                             "\"" + text +
                                 "\" is no time, such as 2h (ago), 2026-03-01 or "
                                 "\"2026-03-01 14:30\""};
    }
    return now - *length;
}

std::string LocalTime(Moment moment) {
    const auto seconds = static_cast<std::time_t>(moment / history::kSecond);
    return fmt::format("{:%Y-%m-%d %H:%M:%S}.{:03}", fmt::localtime(seconds),
                       moment % history::kSecond / 1000);
}

std::string UtcTime(Moment moment) {
    const auto seconds = static_cast<std::time_t>(moment / history::kSecond);
    return fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:06}Z", fmt::gmtime(seconds),
                       moment % history::kSecond);
}

}  // namespace vantry::cli
