// `vantry top`: which properties and components change how often.
//
// It subscribes to everything, as `vantry watch` does. On a terminal the rates are those of the
// last ten seconds and are drawn again every second; otherwise they are those of the whole time,
// printed once. The hub sends one record for each change, so the records are counted. What it drops
// in a burst is noticed only where the value differs when the client library reads everything
// again.

#include <fmt/core.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <sstream>

#include "cli/base/command_line.h"
#include "cli/base/json.h"
#include "cli/base/table.h"
#include "cli/base/terminal.h"
#include "cli/base/text.h"
#include "cli/base/times.h"
#include "cli/measure/change_rates.h"
#include "cli/values/watch_session.h"

namespace vantry::cli {
namespace {

using Clock = ChangeRates::Clock;
using std::chrono::milliseconds;

/// The rates on a terminal are those of so much time.
constexpr int kWindowSeconds = 10;
/// How long changes are counted without a terminal, unless --for sets it.
constexpr const char* kUsualTime = "5s";
/// How many components a terminal shows above the properties.
constexpr std::size_t kComponentRows = 5;

struct TopOptions {
    std::vector<std::string> words;
    std::string forTime;
    std::string sort = "changes";
    int rows = 20;
};

RateOrder OrderOf(char letter) {
    return letter == 'b' ? RateOrder::Bytes : letter == 's' ? RateOrder::Size : RateOrder::Changes;
}

/// Returns the cells of a row: the rates and then the names.
std::vector<std::string> Cells(const ChangeRates::Rate& rate, std::vector<std::string> names) {
    std::vector<std::string> cells = {
        fmt::format("{:.1f}", rate.changesPerSecond),
        SizeText(static_cast<std::uint64_t>(rate.bytesPerSecond)) + "/s", SizeText(rate.size)};
    cells.insert(cells.end(), names.begin(), names.end());
    return cells;
}

std::string ComponentTable(const ChangeRates::Summary& summary, std::size_t rows,
                           const Style& style, std::size_t columns) {
    Table table({"changes/s", "bytes", "size", "properties", "component"});
    for (std::size_t row = 0; row < std::min(rows, summary.components.size()); ++row) {
        const ChangeRates::Rate& rate = summary.components[row];
        table.Add(Cells(rate, {std::to_string(rate.properties), rate.property.componentName}));
    }
    return table.Text(style, 24, columns);
}

std::string PropertyTable(const Catalog& catalog, const ChangeRates::Summary& summary,
                          std::size_t rows, const Style& style, std::size_t columns) {
    Table table({"changes/s", "bytes", "size", "component", "property"});
    for (std::size_t row = 0; row < std::min(rows, summary.properties.size()); ++row) {
        const ChangeRates::Rate& rate = summary.properties[row];
        table.Add(Cells(rate, {rate.property.componentName, catalog.NameOf(rate.property)}));
    }
    return table.Text(style, 24, columns);
}

std::string TotalText(const ChangeRates::Summary& summary) {
    return fmt::format("{:.1f} changes/s, {}/s, of {}", summary.changesPerSecond,
                       SizeText(static_cast<std::uint64_t>(summary.bytesPerSecond)),
                       Counted(summary.properties.size(), "property"));
}

/// Returns a line that says who floods the hub, and one that says what was missed, if so.
std::vector<std::string> Remarks(const ChangeRates::Summary& summary) {
    std::vector<std::string> lines;
    if (const ChangeRates::Rate* const flood = summary.Flood()) {
        lines.push_back(fmt::format("{} floods the hub: {:.0f} % of all changes",
                                    Printable(flood->property.componentName),
                                    100 * flood->changesPerSecond / summary.changesPerSecond));
    }
    if (summary.missed > 0) {
        lines.push_back(
            fmt::format("{} changes were found by reading again only; the hub drops "
                        "changes in a burst",
                        summary.missed));
    }
    return lines;
}

void Sort(ChangeRates::Summary& summary, RateOrder order) {
    SortRates(summary.properties, order);
    SortRates(summary.components, order);
}

Json JsonOfRate(const ChangeRates::Rate& rate) {
    return {{"component", rate.property.componentName},
            {"changesPerSecond", rate.changesPerSecond},
            {"bytesPerSecond", rate.bytesPerSecond},
            {"size", rate.size}};
}

void PrintJson(const Catalog& catalog, const ChangeRates::Summary& summary) {
    Json properties = Json::array();
    for (const ChangeRates::Rate& rate : summary.properties) {
        Json object = JsonOfRate(rate);
        object["shortName"] = catalog.NameOf(rate.property);
        properties.push_back(std::move(object));
    }
    Json components = Json::array();
    for (const ChangeRates::Rate& rate : summary.components) {
        Json object = JsonOfRate(rate);
        object["properties"] = rate.properties;
        components.push_back(std::move(object));
    }
    const ChangeRates::Rate* const flood = summary.Flood();
    fmt::print(
        "{}\n",
        OneLine({{"seconds", summary.seconds},
                 {"changesPerSecond", summary.changesPerSecond},
                 {"bytesPerSecond", summary.bytesPerSecond},
                 {"foundByReadingAgain", summary.missed},
                 {"flooding", flood == nullptr ? Json() : Json(flood->property.componentName)},
                 {"components", std::move(components)},
                 {"properties", std::move(properties)}}));
}

/// Counts changes until the time has come or there is an interrupt, for which it looks often.
void CountUntil(WatchSession& session, ChangeRates& rates, Clock::time_point end) {
    constexpr milliseconds kLook(100);
    while (!Interrupted() && Clock::now() < end) {
        const auto left = std::chrono::ceil<milliseconds>(end - Clock::now());
        if (const auto change = session.Take(std::min(left, kLook))) {
            rates.Count(*change, Clock::now());
        }
    }
}

int PrintOnce(WatchSession& session, const Context& context, const TopOptions& options,
              milliseconds time) {
    ChangeRates rates(Clock::now(), std::nullopt);
    CountUntil(session, rates, Clock::now() + time);
    ChangeRates::Summary summary = rates.SumUp(Clock::now());
    Sort(summary, OrderOf(options.sort.front()));
    if (context.json) {
        PrintJson(session.Known(), summary);
        return Exit::kDone;
    }
    const Style style(context.Fancy());
    const std::size_t columns = TerminalSize::ColumnsOfOutput();
    const auto rows = static_cast<std::size_t>(options.rows);
    fmt::print("{}\n", TotalText(summary));
    for (const std::string& line : Remarks(summary)) {
        fmt::print("{}\n", style.Bad(line));
    }
    fmt::print("\n{}\n{}", ComponentTable(summary, rows, style, columns),
               PropertyTable(session.Known(), summary, rows, style, columns));
    return Exit::kDone;
}

/// Returns the whole screen.
std::string Draw(WatchSession& session, const ChangeRates::Summary& summary,
                 const TerminalSize& size, const Style& style) {
    const std::string title = TimeOfDay(std::chrono::system_clock::now()).substr(0, 8) + "  " +
                              TotalText(summary) +
                              (session.IsConnected() ? "" : "  no connection, trying again");
    std::vector<std::string> lines = {session.IsConnected()
                                          ? style.Heading(Fitted(title, size.columns))
                                          : style.Bad(Fitted(title, size.columns))};
    for (const std::string& line : Remarks(summary)) {
        lines.push_back(style.Bad(Fitted(line, size.columns)));
    }
    lines.emplace_back();
    std::istringstream tables(
        ComponentTable(summary, kComponentRows, style, size.columns) + "\n" +
        PropertyTable(session.Known(), summary, size.rows, style, size.columns));
    for (std::string line; std::getline(tables, line);) {
        lines.push_back(line);
    }
    return WholeScreen(
        lines, style.Faint(Fitted("q quits; sort by c changes, b bytes, s size", size.columns)),
        size);
}

int ShowLive(WatchSession& session, const TopOptions& options, bool coloured) {
    Screen screen;
    const Style style(coloured);
    ChangeRates rates(Clock::now(), kWindowSeconds);
    RateOrder order = OrderOf(options.sort.front());
    Clock::time_point next = Clock::now();
    while (!Interrupted()) {
        while (const auto change = session.Take(milliseconds(0))) {
            rates.Count(*change, Clock::now());
        }
        ChangeRates::Summary summary = rates.SumUp(Clock::now());
        Sort(summary, order);
        fmt::print("{}", Draw(session, summary, TerminalSize::Now(), style));
        std::fflush(stdout);
        next = std::max(next + std::chrono::seconds(1), Clock::now());
        const int key = screen.KeyWithin(
            static_cast<int>(std::chrono::ceil<milliseconds>(next - Clock::now()).count()));
        if (key == 'q') {
            break;
        }
        if (key == 'c' || key == 'b' || key == 's') {
            order = OrderOf(static_cast<char>(key));
        }
    }
    return Exit::kDone;
}

int RunTop(const Context& context, const TopOptions& options) {
    const auto time = ParseDuration(options.forTime.empty() ? kUsualTime : options.forTime);
    if (!time) {
        return FailUsage(time.error().text);
    }
    const bool live = options.forTime.empty() && !context.json && isatty(STDOUT_FILENO) == 1;
    const auto session = WatchSession::Start(context, options.words, live);
    if (!session) {
        return Fail(session.error());
    }
    CatchInterrupts();
    return live ? ShowLive(**session, options, context.Fancy())
                : PrintOnce(**session, context, options, *time);
}

}  // namespace

void AddTop(CommandLine& line) {
    const auto options = std::make_shared<TopOptions>();
    line.Add({.name = "top",
              .summary = "which properties and components change how often",
              .group = CommandGroup::kFindingOut,
              .examples = "  vantry top\n"
                          "  vantry top --for 10s --sort bytes\n"
                          "  vantry --json top --for 5s | jq .flooding\n",
              .topics = "faults times"},
             [options](const Context& context) { return RunTop(context, *options); })
        .Texts("property", options->words, "names, globs or groups (default: everything)")
        .Text("--for", options->forTime,
              "count for this time and print one table (without a terminal: 5s)")
        .OneOf("--sort", options->sort, {"changes", "bytes", "size"}, "the largest first")
        .Count("--rows", options->rows, 1, 1000000, "print so many rows at most");
}

}  // namespace vantry::cli
