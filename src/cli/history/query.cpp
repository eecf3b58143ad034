// `vantry history query`: the changes of one property, or sums over steps.

#include <fmt/core.h>

#include <chrono>
#include <deque>
#include <memory>
#include <string>

#include "cli/base/command_line.h"
#include "cli/base/terminal.h"
#include "cli/base/text.h"
#include "cli/base/times.h"
#include "cli/history/history_options.h"
#include "cli/history/time_text.h"
#include "cli/select/property_names.h"
#include "cli/show/time_plot.h"
#include "history/history.h"

namespace vantry::cli {
namespace {

using history::Moment;
using history::Sample;
using history::StepSums;

constexpr std::size_t kMostChanges = 10'000'000;

struct QueryOptions {
    HistoryOptions history;
    std::string name;
    std::string step;
    bool csv = false;
    bool plot = false;
};

std::string NumberText(const std::optional<double>& number, const char* otherwise) {
    return number ? fmt::format("{:.10g}", *number) : otherwise;
}

void PrintChange(const Sample& sample, const Context& context, bool csv) {
    const char* const kind = NameOf(sample.kind);
    if (context.json) {
        fmt::print("{{\"time\":\"{}\",\"kind\":\"{}\",\"value\":{}}}\n", UtcTime(sample.time), kind,
                   sample.value ? JsonString(*sample.value) : "null");
    } else if (csv) {
        fmt::print("{},{},{}\n", UtcTime(sample.time), kind,
                   sample.value ? CsvText(*sample.value) : "");
    } else {
        fmt::print("{}  {:10}  {}\n", LocalTime(sample.time), kind,
                   sample.value ? Printable(*sample.value) : "(none)");
    }
}

void PrintStep(const StepSums& step, const Context& context, bool csv) {
    if (context.json) {
        fmt::print(
            "{{\"begin\":\"{}\",\"minimum\":{},\"mean\":{},\"maximum\":{},\"changes\":{},"
            "\"unknownSeconds\":{}}}\n",
            UtcTime(step.begin), NumberText(step.minimum, "null"), NumberText(step.mean, "null"),
            NumberText(step.maximum, "null"), step.changes,
            static_cast<double>(step.unknown) / history::kSecond);
    } else if (csv) {
        fmt::print("{},{},{},{},{}\n", UtcTime(step.begin), NumberText(step.minimum, ""),
                   NumberText(step.mean, ""), NumberText(step.maximum, ""), step.changes);
    } else {
        fmt::print("{}  {:>12} {:>12} {:>12} {:>8}\n", LocalTime(step.begin),
                   NumberText(step.minimum, "-"), NumberText(step.mean, "-"),
                   NumberText(step.maximum, "-"), step.changes);
    }
}

int PrintPlot(const std::vector<StepSums>& steps, std::size_t columns) {
    std::deque<TimedNumber> means;
    for (const StepSums& step : steps) {
        if (step.mean) {
            means.push_back({static_cast<double>(step.begin), *step.mean});
        }
    }
    if (means.empty()) {
        return Fail({client::ErrorCode::NotFound, "there are no numbers at that time"});
    }
    const auto [low, high] = std::minmax_element(
        means.begin(), means.end(),
        [](const TimedNumber& one, const TimedNumber& other) { return one.number < other.number; });
    const TimeSpan span{static_cast<double>(steps.front().begin),
                        static_cast<double>(steps.back().begin)};
    fmt::print("{}\n{} to {}, from {:.6g} to {:.6g}\n",
               Sparkline(means, span, std::min(columns, steps.size())),
               LocalTime(steps.front().begin), LocalTime(steps.back().begin), low->number,
               high->number);
    return Exit::kDone;
}

client::Result<client::Property> FindRecorded(history::History& history, const std::string& name) {
    const auto all = history.Properties();
    if (!all) {
        return all.error();
    }
    return FindByName(*all, name);
}

int QuerySteps(const Context& context, const QueryOptions& options, history::History& history,
               const client::PropertyId& id, history::Span span) {
    const std::size_t columns = TerminalSize::Now().columns;
    Moment step = std::max<Moment>((span.end - span.begin) / static_cast<Moment>(columns), 1000);
    if (!options.step.empty()) {
        const auto parsed = ParseDuration(options.step);
        if (!parsed || parsed->count() == 0) {
            return FailUsage(parsed ? "a step can't be 0" : parsed.error().text);
        }
        step = std::chrono::microseconds(*parsed).count();
    }
    const auto steps = history.Steps(id, span, step);
    if (!steps) {
        return Fail(steps.error());
    }
    if (options.plot) {
        return PrintPlot(*steps, columns);
    }
    if (!context.json) {
        fmt::print("{}", options.csv ? "begin,minimum,mean,maximum,changes\n"
                                     : "begin                         minimum         mean"
                                       "      maximum  changes\n");
    }
    for (const StepSums& sums : *steps) {
        PrintStep(sums, context, options.csv);
    }
    return Exit::kDone;
}

int Query(const Context& context, const QueryOptions& options, history::History& history,
          history::Span span) {
    const auto property = FindRecorded(history, options.name);
    if (!property) {
        return Fail(property.error());
    }
    const auto recorded = history.Recorded();
    if (!recorded) {
        return Fail(recorded.error());
    }
    span.begin = std::max(span.begin, recorded->begin);
    if (options.plot || !options.step.empty()) {
        return QuerySteps(context, options, history, property->id, span);
    }
    const auto changes = history.Changes(property->id, span, kMostChanges);
    if (!changes) {
        return Fail(changes.error());
    }
    if (options.csv && !context.json) {
        fmt::print("time,kind,value\n");
    }
    for (const Sample& sample : *changes) {
        PrintChange(sample, context, options.csv);
    }
    return Exit::kDone;
}

}  // namespace

void AddHistoryQuery(CommandLine& line) {
    const auto options = std::make_shared<QueryOptions>();
    CommandOptions command = line.Add(
        {.name = "history query",
         .summary = "show what one property did",
         .group = CommandGroup::kReading,
         .examples = "  vantry history query \"Printhead Temperature\" --since 2h --step 5m\n"
                     "  vantry history query \"Printhead Temperature\" --since 1d --plot\n",
         .topics = "times"},
        [options](const Context& context) {
            return options->history.Read([&](history::History& history, history::Span span) {
                return Query(context, *options, history, span);
            });
        });
    command.Text("property", options->name, "its name", CommandOptions::Need::kRequired);
    HistoryOptions::AddFile(command, options->history);
    HistoryOptions::AddSpan(command, options->history);
    command.Text("--step", options->step, "minimum, mean and maximum over steps: 10s, 15m, 1h")
        .Flag("--csv", options->csv, "print lines for a spreadsheet")
        .Flag("--plot", options->plot, "draw the means");
}

}  // namespace vantry::cli
