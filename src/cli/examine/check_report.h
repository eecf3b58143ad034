#pragma once

#include <optional>
#include <string>
#include <vector>

namespace vantry::cli {

/// The states of a monitor, whose numbers are the exit statuses of Nagios.
enum class CheckState { Ok = 0, Warning = 1, Critical = 2, Unknown = 3 };

/// Returns "ok", "warning", "critical" or "unknown".
const char* NameOf(CheckState state);

/// Something that was checked of a property.
struct CheckItem {
    CheckState state = CheckState::Ok;
    /// "exists", "owner", "expect" or "age".
    const char* kind = "";
    std::string property;
    /// What was found, as a sentence without a full stop.
    std::string text;
    /// The condition of "expect", and the greatest age of "age".
    std::string condition = {};
    /// The value of the property, where it was looked at.
    std::optional<std::string> value = {};
    std::optional<double> ageSeconds = {};
};

/// What `vantry check` has found.
struct CheckReport {
    std::string hub;
    /// Why the hub can't be reached, or wrong options; empty otherwise.
    std::string error;
    /// The state of the hub alone: critical if it can't be reached, a warning if it is slow.
    CheckState hubState = CheckState::Ok;
    std::optional<double> roundTripSeconds = {};
    std::optional<std::size_t> properties = {};
    std::vector<CheckItem> items = {};

    /// Returns the worst state: critical, then unknown, then warning, then ok.
    CheckState Worst() const;
};

/// These return the report in the format of a monitor, with a line feed at the end: a line with
/// performance data, a JSON document on one line, and the text format of OpenMetrics.
std::string NagiosText(const CheckReport& report);
std::string CheckJson(const CheckReport& report);
std::string OpenMetricsText(const CheckReport& report);

}  // namespace vantry::cli
