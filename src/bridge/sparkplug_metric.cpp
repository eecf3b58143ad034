// Values as Sparkplug's metrics and back. The type of a metric comes from the description of the
// property and never from its present value, since a type may not change after a birth. A value
// that doesn't fit its type is sent as null instead of as something that it isn't.

#include "bridge/sparkplug_metric.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "describe/description.h"

namespace vantry::bridge {

std::string SparkplugDeviceOf(const Subject& subject) {
    std::string name = subject.component.empty() ? subject.id.component : subject.component;
    std::replace_if(
        name.begin(), name.end(),
        [](char byte) {
            return byte == '/' || byte == '+' || byte == '#' ||
                   static_cast<unsigned char>(byte) < 0x20;
        },
        '_');
    return name;
}

std::string SparkplugNameOf(const Subject& subject) { return subject.group + "/" + subject.name; }

void SetValue(sparkplug::Metric& metric, const Subject& subject, const std::string& value,
              bool available) {
    const std::optional<double> number = describe::NumberIn(value);
    switch (subject.description.type.value_or(client::ValueType::Text)) {
        case client::ValueType::Number:
            metric.set_datatype(SparkplugType::kDouble);
            available = available && number;
            if (available) {
                metric.set_double_value(*number);
            }
            break;
        case client::ValueType::Bool:
        case client::ValueType::Command:
            metric.set_datatype(SparkplugType::kBoolean);
            available = available && (value == "True" || value == "False");
            if (available) {
                metric.set_boolean_value(value == "True");
            }
            break;
        default:
            metric.set_datatype(SparkplugType::kString);
            if (available) {
                metric.set_string_value(value);
            }
    }
    if (!available) {
        metric.set_is_null(true);
    }
}

std::optional<std::string> ValueIn(const sparkplug::Metric& metric) {
    if (metric.has_string_value()) {
        return metric.string_value();
    }
    if (metric.has_boolean_value()) {
        return metric.boolean_value() ? "True" : "False";
    }
    if (metric.has_int_value()) {
        return std::to_string(metric.int_value());
    }
    if (metric.has_long_value()) {
        return std::to_string(metric.long_value());
    }
    if (!metric.has_double_value() && !metric.has_float_value()) {
        return std::nullopt;
    }
    constexpr double kMostWhole = 9e15;
    const double number = metric.has_double_value() ? metric.double_value()
                                                    : static_cast<double>(metric.float_value());
    return std::trunc(number) == number && std::abs(number) < kMostWhole
               ? std::to_string(static_cast<std::int64_t>(number))
               : std::to_string(number);
}

}  // namespace vantry::bridge
