#include "cli/history/time_text.h"

#include <fmt/chrono.h>
#include <fmt/core.h>

#include <cctype>
#include <chrono>
#include <ctime>

#include "cli/base/times.h"

namespace vantry::cli {
using history::Moment;

client::Result<Moment> ParseMoment(const std::string& text, Moment now) {
    for (const char* format : {"%Y-%m-%d %H:%M:%S", "%Y-%m-%d %H:%M", "%Y-%m-%d"}) {
        std::tm parts{};
        const char* const end = strptime(text.c_str(), format, &parts);
        if (end != nullptr && *end == '\0') {
            parts.tm_isdst = -1;
            return static_cast<Moment>(std::mktime(&parts)) * history::kSecond;
        }
    }
    // A number alone would be seconds, but "2026" is rather meant as a year.
    const auto ago = ParseDuration(text);
    if (!ago || std::isdigit(static_cast<unsigned char>(text.back())) != 0) {
        return client::Error{client::ErrorCode::Refused,
                             "\"" + text +
                                 "\" is no time, such as 2h (ago), 2026-03-01 or "
                                 "\"2026-03-01 14:30\""};
    }
    return now - std::chrono::microseconds(*ago).count();
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
