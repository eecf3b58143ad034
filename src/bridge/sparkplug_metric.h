#pragma once

#include <optional>
#include <string>

#include "bridge/change.h"
#include "bridge/sparkplug.pb.h"

namespace vantry::bridge {

// Properties as metrics of Sparkplug. Functions with no state.

/// The numbers of the types that are used.
struct SparkplugType {
    static constexpr std::uint32_t kInt64 = 4;
    static constexpr std::uint32_t kDouble = 10;
    static constexpr std::uint32_t kBoolean = 11;
    static constexpr std::uint32_t kString = 12;
};

/// Returns the name of the device that stands for the component, fit for a level of a topic.
std::string SparkplugDeviceOf(const Subject& subject);
/// Returns "Group/Name".
std::string SparkplugNameOf(const Subject& subject);
/// Writes type and value; a value that isn't there, or isn't of the type, becomes null.
void SetValue(sparkplug::Metric& metric, const Subject& subject, const std::string& value,
              bool available);
/// Returns the value as the hub spells it, or nothing if the metric has none.
std::optional<std::string> ValueIn(const sparkplug::Metric& metric);

}  // namespace vantry::bridge
