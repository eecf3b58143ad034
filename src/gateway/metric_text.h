#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vantry::gateway {

/// Writes metrics in one of the two text formats that monitoring systems read. They differ in the
/// name under which a counter is declared.
class MetricText {
public:
    enum class Kind { Gauge, Counter };
    using Labels = std::vector<std::pair<const char*, std::string>>;

    explicit MetricText(bool isOpenMetrics) : forOpenMetrics(isOpenMetrics) {}

    /// Declares a metric; its samples follow. A name that ends in "_seconds" or "_bytes" has that
    /// as its unit. The name of a counter is given without "_total".
    void Declare(std::string_view name, Kind kind, std::string_view help);
    /// Adds a sample of the metric that was declared last. Labels without a value are left out.
    void Add(double value, const Labels& labels = {});
    /// Declares a metric and adds its only sample.
    void Single(std::string_view name, Kind kind, std::string_view help, double value) {
        Declare(name, kind, help);
        Add(value);
    }
    /// Removes and returns what was written.
    std::string Take() { return std::exchange(text, {}); }

private:
    const bool forOpenMetrics;
    std::string sampleName;
    std::string text;
};

}  // namespace vantry::gateway
