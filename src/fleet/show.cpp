// The list as a table for a person, as CSV or as JSON. The last line of a table sums it up.

#include "fleet/show.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "cli/base/table.h"
#include "cli/base/times.h"
#include "fleet/metrics.h"

namespace vantry::fleet {
namespace {

using Json = nlohmann::ordered_json;
using TimePoint = std::chrono::system_clock::time_point;

std::string TimeText(std::int64_t time) {
    return time == 0 ? "" : cli::FullTime(TimePoint(std::chrono::milliseconds(time)));
}

std::string AgeText(std::int64_t time, std::int64_t now) {
    return time == 0 ? "?"
                     : cli::ShortDuration(
                           std::chrono::milliseconds(std::max<std::int64_t>(0, now - time)));
}

/// Returns the errors as one text. Those of a printer that is offline are unknown.
std::string ErrorsText(const Printer& printer) {
    std::string text = printer.isOnline && printer.hasHub ? "none" : "?";
    for (const std::string& error : printer.errors) {
        text = &error == &printer.errors.front() ? error : text + ", " + error;
    }
    return text;
}

cli::Table TableOf(const std::vector<Printer>& printers, std::int64_t now) {
    cli::Table table(
        {"SITE", "SERIAL", "STATE", "NEWS", "BRIDGE", "FIRMWARE", "DROPPED", "WAITING", "ERRORS"});
    for (const Printer& one : printers) {
        table.Add({one.site, one.serial, one.State(), AgeText(one.news, now), one.bridge,
                   one.firmware, std::to_string(one.dropped), std::to_string(one.waiting),
                   ErrorsText(one)});
    }
    return table;
}

std::string CsvOf(const std::vector<Printer>& printers) {
    cli::Table table({"site", "serial", "state", "since", "news", "bridge", "firmware", "dropped",
                      "waiting", "errors"});
    for (const Printer& one : printers) {
        table.Add({one.site, one.serial, one.State(), TimeText(one.since), TimeText(one.news),
                   one.bridge, one.firmware, std::to_string(one.dropped),
                   std::to_string(one.waiting), ErrorsText(one)});
    }
    return table.Csv();
}

std::string JsonOf(const std::vector<Printer>& printers) {
    Json list = Json::array();
    for (const Printer& one : printers) {
        list.push_back({{"site", one.site},
                        {"serial", one.serial},
                        {"online", one.isOnline},
                        {"hub", one.hasHub},
                        {"since", one.since},
                        {"news", one.news},
                        {"dropped", one.dropped},
                        {"waiting", one.waiting},
                        {"versions", {{"bridge", one.bridge}, {"firmware", one.firmware}}},
                        {"errors", one.errors}});
    }
    return list.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

std::string Summary(const std::vector<Printer>& printers, std::int64_t now) {
    const auto count = [&](auto fits) {
        return std::to_string(std::count_if(printers.begin(), printers.end(), fits));
    };
    const auto oldest = std::min_element(
        printers.begin(), printers.end(),
        [](const Printer& one, const Printer& other) { return one.news < other.news; });
    return std::to_string(printers.size()) +
           " printers: " + count([](const Printer& one) { return one.isOnline; }) + " online, " +
           count([](const Printer& one) { return !one.errors.empty(); }) +
           " with errors; the oldest news are " + AgeText(oldest->news, now) + " old, of " +
           oldest->site + "/" + oldest->serial + "\n";
}

}  // namespace

std::string Show(const std::vector<Printer>& printers, const Options& options, std::int64_t now,
                 bool coloured) {
    if (options.json) {
        return JsonOf(printers);
    }
    if (options.metrics) {
        return MetricsOf(printers, now);
    }
    if (options.csv) {
        return CsvOf(printers);
    }
    return printers.empty()
               ? ""
               : TableOf(printers, now).Text(cli::Style(coloured)) + Summary(printers, now);
}

}  // namespace vantry::fleet
