// Durations and times as people write and read them. Fractions of a unit are allowed, so a number
// is read as a floating-point number and multiplied by its unit; ten years are the bound, within
// which that is exact to a millisecond.

#include "cli/base/times.h"

#include <fmt/chrono.h>
#include <fmt/core.h>

#include <array>
#include <cstdlib>
#include <ctime>
#include <iterator>
#include <utility>

namespace vantry::cli {
namespace {

using std::chrono::milliseconds;

/// The units of durations, in milliseconds.
constexpr std::array<std::pair<const char*, long long>, 6> kUnits = {{{"ms", 1},
                                                                      {"s", 1000},
                                                                      {"m", 60'000},
                                                                      {"h", 3'600'000},
                                                                      {"d", 86'400'000},
                                                                      {"w", 604'800'000}}};
constexpr double kLongest = 10 * 366 * 86'400'000.0;

int MillisecondsOf(std::chrono::system_clock::time_point when) {
    const auto all = std::chrono::floor<milliseconds>(when.time_since_epoch()).count();
    return static_cast<int>(((all % 1000) + 1000) % 1000);
}

std::tm LocalTime(std::chrono::system_clock::time_point when) {
    const std::time_t seconds =
        std::chrono::system_clock::to_time_t(std::chrono::floor<std::chrono::seconds>(when));
    std::tm local{};
    localtime_r(&seconds, &local);
    return local;
}

}  // namespace

client::Result<milliseconds> ParseDuration(const std::string& text) {
    char* end = nullptr;
    const double number = std::strtod(text.c_str(), &end);
    const std::string unit = *end == '\0' ? "s" : end;
    for (const auto& [name, each] : kUnits) {
        const double all = number * static_cast<double>(each);
        if (end != text.c_str() && unit == name && all >= 0 && all <= kLongest) {
            return milliseconds(static_cast<long long>(all));
        }
    }
    return client::Error{client::ErrorCode::Refused,
                         "\"" + text + "\" is no duration; write for example 10s, 500ms or 2h"};
}

std::string ShortDuration(milliseconds duration) {
    auto unit = kUnits.rbegin();
    while (std::next(unit) != kUnits.rend() && duration.count() < unit->second) {
        ++unit;
    }
    return fmt::format("{}{}", duration.count() / unit->second, unit->first);
}

std::string TimeOfDay(std::chrono::system_clock::time_point when) {
    return fmt::format("{:%H:%M:%S}.{:03}", LocalTime(when), MillisecondsOf(when));
}

std::string FullTime(std::chrono::system_clock::time_point when) {
    const std::tm local = LocalTime(when);
    const long minutes = local.tm_gmtoff / 60;
    return fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:03}{}{:02}:{:02}", local, MillisecondsOf(when),
                       minutes < 0 ? '-' : '+', std::abs(minutes) / 60, std::abs(minutes) % 60);
}

}  // namespace vantry::cli
