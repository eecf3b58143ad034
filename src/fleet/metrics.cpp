// Each metric is a map of values by their labels, which one pass over the printers adds up. No
// metric has the serial number of a printer as a label: a system that collects metrics keeps a time
// series for each combination of labels, and a fleet has too many printers for that.

#include "fleet/metrics.h"

#include <algorithm>
#include <map>
#include <utility>

namespace vantry::fleet {
namespace {

/// Returns the text as the value of a label, in quotes.
std::string Label(const std::string& text) {
    std::string quoted = "\"";
    for (const char byte : text) {
        if (byte == '\n') {
            quoted += "\\n";
        } else {
            quoted += byte == '"' || byte == '\\' ? std::string{'\\', byte} : std::string{byte};
        }
    }
    return quoted + "\"";
}

/// One metric: values by their labels.
class Metric {
public:
    Metric(std::string itsName, std::string itsHelp)
        : name(std::move(itsName)), help(std::move(itsHelp)) {}

    double& At(const std::string& labels) { return values[labels]; }
    std::string Text() const {
        std::string text = "# HELP " + name + " " + help + "\n# TYPE " + name + " gauge\n";
        for (const auto& [labels, value] : values) {
            text += name;
            text += "{" + labels + "} ";
            text += std::to_string(value) + "\n";
        }
        return text;
    }

private:
    const std::string name;
    const std::string help;
    std::map<std::string, double> values;
};

}  // namespace

std::string MetricsOf(const std::vector<Printer>& printers, std::int64_t now) {
    constexpr double kMilliseconds = 1000;
    Metric states("vantry_fleet_printers", "Printers of a site in a state.");
    Metric versions("vantry_fleet_versions", "Printers with these versions.");
    Metric faulty("vantry_fleet_printers_with_errors", "Printers of a site that have errors.");
    Metric errors("vantry_fleet_errors", "Printers of a site that have this error.");
    Metric oldest("vantry_fleet_oldest_news_seconds",
                  "Age of the oldest news among the printers that are online.");
    Metric dropped("vantry_fleet_dropped", "Changes and messages that the bridges have lost.");
    Metric waiting("vantry_fleet_waiting", "Messages that the bridges keep for the broker.");
    for (const Printer& one : printers) {
        const std::string site = "site=" + Label(one.site);
        for (const char* const state : {"online", "no hub", "offline"}) {
            states.At(site + ",state=" + Label(state)) += one.State() == std::string(state) ? 1 : 0;
        }
        versions.At("bridge=" + Label(one.bridge) + ",firmware=" + Label(one.firmware)) += 1;
        faulty.At(site) += one.errors.empty() ? 0 : 1;
        for (const std::string& error : one.errors) {
            errors.At(site + ",error=" + Label(error)) += 1;
        }
        const double age = static_cast<double>(now - one.news) / kMilliseconds;
        double& greatest = oldest.At(site);
        greatest = std::max(greatest, one.isOnline ? age : 0);
        dropped.At(site) += static_cast<double>(one.dropped);
        waiting.At(site) += static_cast<double>(one.waiting);
    }
    std::string text;
    for (const Metric* metric :
         {&states, &versions, &faulty, &errors, &oldest, &dropped, &waiting}) {
        text += metric->Text();
    }
    return text;
}

}  // namespace vantry::fleet
