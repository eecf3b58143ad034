// The formats of `vantry check`.
//
// Nagios takes one line: the state, a sentence, and behind a "|" performance data as
// 'label'=value[unit]. Values of properties come from anywhere, so "|" and control characters are
// taken out of texts, and a label doubles its single quotes. OpenMetrics escapes backslashes,
// double quotes and line feeds in labels, and ends with "# EOF".

#include "cli/examine/check_report.h"

#include <fmt/core.h>

#include <algorithm>
#include <array>
#include <map>
#include <string_view>

#include "cli/base/json.h"
#include "cli/base/text.h"
#include "describe/description.h"

namespace vantry::cli {
namespace {

/// Returns the text with every `what` replaced.
std::string Replaced(std::string text, char what, std::string_view with) {
    for (std::size_t at = text.find(what); at != std::string::npos;
         at = text.find(what, at + with.size())) {
        text.replace(at, 1, with);
    }
    return text;
}

std::string Label(const std::string& text) {
    return Replaced(Replaced(Replaced(text, '\\', "\\\\"), '"', "\\\""), '\n', "\\n");
}

/// Returns the numbers among the values that were compared, by property.
std::map<std::string, double> NumbersOf(const CheckReport& report) {
    std::map<std::string, double> numbers;
    for (const CheckItem& item : report.items) {
        if (const auto number = describe::NumberIn(item.value.value_or(""))) {
            numbers[item.property] = *number;
        }
    }
    return numbers;
}

std::string PerformanceData(const CheckReport& report) {
    std::string data;
    const auto add = [&data](const std::string& label, double number, const char* unit) {
        data += fmt::format("{}'{}'={:.10g}{}", data.empty() ? "" : " ",
                            Replaced(Printable(label), '\'', "''"), number, unit);
    };
    if (report.roundTripSeconds) {
        add("round trip", *report.roundTripSeconds, "s");
    }
    if (report.properties) {
        add("properties", static_cast<double>(*report.properties), "");
    }
    for (const auto& [property, number] : NumbersOf(report)) {
        add(property, number, "");
    }
    for (const CheckItem& item : report.items) {
        if (item.ageSeconds) {
            add(item.property + " age", *item.ageSeconds, "s");
        }
    }
    return data;
}

std::string Problems(const CheckReport& report) {
    std::string text = report.error;
    for (const CheckItem& item : report.items) {
        if (item.state != CheckState::Ok) {
            text += (text.empty() ? "" : "; ") + item.text;
        }
    }
    return text;
}

/// Writes the lines of one metric.
class Metric {
public:
    Metric(std::string& into, const char* itsName, const char* help) : text(into), name(itsName) {
        const bool isSeconds = std::string_view(name).ends_with("_seconds");
        text += fmt::format("# TYPE {0} gauge\n{1}# HELP {0} {2}\n", name,
                            isSeconds ? fmt::format("# UNIT {} seconds\n", name) : "", help);
    }
    void Sample(double value, const std::string& labels = "") {
        text +=
            fmt::format("{}{} {:.10g}\n", name, labels.empty() ? "" : "{" + labels + "}", value);
    }

private:
    std::string& text;
    const char* name;
};

std::string PropertyLabel(const std::string& property) {
    return "property=\"" + Label(property) + "\"";
}

}  // namespace

const char* NameOf(CheckState state) {
    constexpr std::array kNames = {"ok", "warning", "critical", "unknown"};
    return kNames[static_cast<std::size_t>(state)];
}

CheckState CheckReport::Worst() const {
    for (const CheckState state :
         {CheckState::Critical, CheckState::Unknown, CheckState::Warning}) {
        if (hubState == state ||
            std::any_of(items.begin(), items.end(),
                        [state](const CheckItem& item) { return item.state == state; })) {
            return state;
        }
    }
    return CheckState::Ok;
}

std::string NagiosText(const CheckReport& report) {
    std::string state = NameOf(report.Worst());
    std::transform(state.begin(), state.end(), state.begin(),
                   [](char letter) { return static_cast<char>(letter - 'a' + 'A'); });
    std::string text = Problems(report);
    if (text.empty()) {
        text = fmt::format("the hub at {} answers in {:.1f} ms", report.hub,
                           report.roundTripSeconds.value_or(0) * 1000);
        for (const CheckItem& item : report.items) {
            text += "; " + item.text;
        }
    }
    const std::string data = PerformanceData(report);
    return fmt::format("VANTRY {} - {}{}{}\n", state, Replaced(Printable(text), '|', "/"),
                       data.empty() ? "" : "|", data);
}

std::string CheckJson(const CheckReport& report) {
    Json checks = Json::array();
    for (const CheckItem& item : report.items) {
        checks.push_back({{"kind", item.kind},
                          {"state", NameOf(item.state)},
                          {"property", item.property},
                          {"condition", item.condition.empty() ? Json() : Json(item.condition)},
                          {"value", item.value ? Json(*item.value) : Json()},
                          {"ageSeconds", item.ageSeconds ? Json(*item.ageSeconds) : Json()},
                          {"text", item.text}});
    }
    return OneLine({{"state", NameOf(report.Worst())},
                    {"hub", report.hub},
                    {"error", report.error.empty() ? Json() : Json(report.error)},
                    {"roundTripSeconds",
                     report.roundTripSeconds ? Json(*report.roundTripSeconds) : Json()},
                    {"properties", report.properties ? Json(*report.properties) : Json()},
                    {"checks", std::move(checks)}}) +
           "\n";
}

std::string OpenMetricsText(const CheckReport& report) {
    std::string text;
    Metric(text, "vantry_check_up", "Whether the hub answers.").Sample(report.properties ? 1 : 0);
    Metric(text, "vantry_check_state", "0 ok, 1 warning, 2 critical, 3 unknown.")
        .Sample(static_cast<double>(report.Worst()));
    if (report.roundTripSeconds) {
        Metric(text, "vantry_check_round_trip_seconds", "The time from a question to its answer.")
            .Sample(*report.roundTripSeconds);
    }
    if (report.properties) {
        Metric(text, "vantry_check_properties", "How many properties the hub shows.")
            .Sample(static_cast<double>(*report.properties));
    }
    Metric items(text, "vantry_check_item_state", "The state of each thing that was checked.");
    for (std::size_t place = 0; place < report.items.size(); ++place) {
        const CheckItem& item = report.items[place];
        items.Sample(static_cast<double>(item.state),
                     fmt::format("item=\"{}\",kind=\"{}\",{},condition=\"{}\"", place + 1,
                                 item.kind, PropertyLabel(item.property), Label(item.condition)));
    }
    Metric values(text, "vantry_check_value", "The values that are numbers.");
    for (const auto& [property, number] : NumbersOf(report)) {
        values.Sample(number, PropertyLabel(property));
    }
    Metric ages(text, "vantry_check_age_seconds", "The time since the owner set the value.");
    for (const CheckItem& item : report.items) {
        if (item.ageSeconds) {
            ages.Sample(*item.ageSeconds, PropertyLabel(item.property));
        }
    }
    return text + "# EOF\n";
}

}  // namespace vantry::cli
