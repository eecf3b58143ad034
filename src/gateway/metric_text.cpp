#include "gateway/metric_text.h"

#include <array>
#include <charconv>

#include "gateway/property_json.h"

namespace vantry::gateway {
namespace {

std::string NumberText(double number) {
    std::array<char, 64> digits{};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number);
    return {digits.data(), end.ptr};
}

/// Returns a label's value with what would end it escaped.
std::string Escaped(const std::string& value) {
    std::string escaped;
    for (const char letter : Utf8(value)) {
        if (letter == '\n') {
            escaped += "\\n";
            continue;
        }
        if (letter == '\\' || letter == '"') {
            escaped += '\\';
        }
        escaped += letter;
    }
    return escaped;
}

}  // namespace

void MetricText::Declare(std::string_view name, Kind kind, std::string_view help) {
    sampleName = std::string(name) + (kind == Kind::Counter ? "_total" : "");
    const std::string declared = forOpenMetrics ? std::string(name) : sampleName;
    text += "# HELP " + declared + " " + std::string(help) + "\n# TYPE " + declared +
            (kind == Kind::Counter ? " counter\n" : " gauge\n");
    for (const std::string_view unit : {"seconds", "bytes"}) {
        if (forOpenMetrics && name.ends_with("_" + std::string(unit))) {
            text += "# UNIT " + declared + " " + std::string(unit) + "\n";
        }
    }
}

void MetricText::Add(double value, const Labels& labels) {
    text += sampleName;
    char before = '{';
    for (const auto& [name, content] : labels) {
        if (!content.empty()) {
            text += before + std::string(name) + "=\"" + Escaped(content) + '"';
            before = ',';
        }
    }
    text += (before == '{' ? " " : "} ") + NumberText(value) + "\n";
}

}  // namespace vantry::gateway
