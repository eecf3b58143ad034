// `vantry plot`: numbers over time, in the terminal or as a picture.
//
// The numbers come from a subscription, or with --since from a history. On a terminal the plots are
// drawn again while numbers arrive; when the command ends, they are printed once more below the
// prompt, where they stay. Without a terminal there is only the last drawing.

#include <fmt/core.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <memory>

#include "cli/base/command_line.h"
#include "cli/base/files.h"
#include "cli/base/json.h"
#include "cli/base/terminal.h"
#include "cli/base/text.h"
#include "cli/base/times.h"
#include "cli/history/history_options.h"
#include "cli/history/time_text.h"
#include "cli/measure/chart.h"
#include "cli/measure/live_series.h"
#include "cli/measure/recorded_series.h"
#include "cli/measure/text_plot.h"
#include "cli/values/watch_session.h"

namespace vantry::cli {
namespace {

using std::chrono::milliseconds;

/// How long numbers are recorded without a terminal, unless --for sets it.
constexpr const char* kUsualTime = "10s";
/// The time that a live plot shows, unless --for sets it.
constexpr Moment kShownLive = history::kMinute;
/// The lines of each plot that is printed.
constexpr std::size_t kPrintedRows = 16;

struct PlotOptions {
    HistoryOptions history;
    std::vector<std::string> words;
    std::string forTime;
    std::string svg;
    std::string png;
    bool force = false;
};

std::vector<std::string> DrawAll(const Recording& recording, std::size_t columns,
                                 std::size_t rowsOfEach, const Style& style) {
    std::vector<std::string> lines;
    for (const Series& series : recording.all) {
        const std::vector<std::string> plot =
            DrawTextPlot(series, recording.begin, recording.end, columns, rowsOfEach, style);
        lines.insert(lines.end(), plot.begin(), plot.end());
    }
    return lines;
}

void DrawScreen(const WatchSession& session, const LiveSeries& series, Moment shown,
                const Style& style) {
    const TerminalSize size = TerminalSize::Now();
    const Recording recording = series.Since(history::Now() - shown);
    constexpr std::size_t kLeastRows = 6;
    const std::size_t count = std::max<std::size_t>(recording.all.size(), 1);
    const std::string footer =
        session.IsConnected() ? "q quits and leaves the plot" : "no connection, trying again";
    fmt::print("{}", WholeScreen(DrawAll(recording, size.columns,
                                         std::max(kLeastRows, (size.rows - 1) / count), style),
                                 style.Faint(Fitted(footer, size.columns)), size));
    std::fflush(stdout);
}

/// Draws what arrived within the last time of this length until q is pressed or, unless it is
/// endless, the time has passed.
void ShowLive(WatchSession& session, LiveSeries& series, Moment shown, bool endless,
              const Style& style) {
    constexpr milliseconds kRefresh(200);
    Screen screen;
    while (!Interrupted() && (endless || history::Now() - series.Start() < shown)) {
        series.TakeFor(kRefresh);
        DrawScreen(session, series, shown, style);
        if (screen.KeyWithin(0) == 'q') {
            break;
        }
    }
}

/// Records from now on, for the time given or, on a terminal, until the user ends it.
client::Result<Recording> RecordNow(const Context& context, const PlotOptions& options,
                                    milliseconds given) {
    const bool live = isatty(STDOUT_FILENO) == 1 && !context.json;
    const bool endless = live && options.forTime.empty();
    const Moment shown = endless ? kShownLive : given.count() * 1000;
    const auto session = WatchSession::Start(context, options.words, live);
    if (!session) {
        return session.error();
    }
    auto series = LiveSeries::Begin(**session, options.words);
    if (!series) {
        return series.error();
    }
    CatchInterrupts();
    if (live) {
        ShowLive(**session, *series, shown, endless, Style(context.Fancy()));
    } else {
        series->TakeFor(given);
    }
    return series->Since(history::Now() - shown);
}

void PrintJson(const Recording& recording) {
    Json array = Json::array();
    for (const Series& series : recording.all) {
        Json points = Json::array();
        for (const Series::Point& point : series.points) {
            points.push_back({{"time", UtcTime(point.time)},
                              {"number", point.number ? Json(*point.number) : Json()}});
        }
        array.push_back({{"shortName", series.name},
                         {"unit", series.unit.empty() ? Json() : Json(series.unit)},
                         {"points", std::move(points)}});
    }
    fmt::print("{}\n", OneLine({{"begin", UtcTime(recording.begin)},
                                {"end", UtcTime(recording.end)},
                                {"series", std::move(array)}}));
}

client::Outcome WriteChart(const Recording& recording, ChartFormat format, const std::string& file,
                           bool force) {
    if (file.empty()) {
        return client::Done();
    }
    const auto content = DrawChart(recording.all, recording.begin, recording.end, format);
    if (!content) {
        return content.error();
    }
    return WriteWholeFile(file, *content, force);
}

/// Returns why a file can't be written, if that is known before anything is recorded.
client::Outcome CheckFiles(const PlotOptions& options) {
    for (const std::string& file : {options.svg, options.png}) {
        if (!options.force && !file.empty() && access(file.c_str(), F_OK) == 0) {
            return client::Error{client::ErrorCode::Refused, file + " exists; --force replaces it"};
        }
    }
    return client::Done();
}

int Show(const Context& context, const PlotOptions& options, const Recording& recording) {
    for (const auto& [format, file] :
         {std::pair(ChartFormat::Svg, &options.svg), std::pair(ChartFormat::Png, &options.png)}) {
        if (const auto written = WriteChart(recording, format, *file, options.force); !written) {
            return Fail(written.error());
        }
    }
    if (context.json) {
        PrintJson(recording);
    } else if (options.svg.empty() && options.png.empty()) {
        const std::size_t columns = std::min<std::size_t>(TerminalSize::Now().columns, 1000);
        for (std::string& line :
             DrawAll(recording, columns, kPrintedRows, Style(context.Fancy()))) {
            line.erase(line.find_last_not_of(' ') + 1);
            fmt::print("{}\n", line);
        }
    }
    return Exit::kDone;
}

int RunPlot(const Context& context, const PlotOptions& options) {
    if (const auto good = CheckFiles(options); !good) {
        return Fail(good.error());
    }
    const bool isPast = !options.history.since.empty() || !options.history.until.empty();
    if (isPast && !options.forTime.empty()) {
        return FailUsage("--for plots from now on, --since and --until plot a history");
    }
    const auto time = ParseDuration(options.forTime.empty() ? kUsualTime : options.forTime);
    const auto span = options.history.Span();
    if (!time || !span) {
        return FailUsage((time ? span.error() : time.error()).text);
    }
    const auto recording = isPast ? ReadSeries(options.history.File(), options.words, *span)
                                  : RecordNow(context, options, *time);
    if (!recording) {
        return Fail(recording.error());
    }
    if (recording->all.empty()) {
        return Fail({client::ErrorCode::NotFound, "there was no number to plot"});
    }
    return Show(context, options, *recording);
}

}  // namespace

void AddPlot(CommandLine& line) {
    const auto options = std::make_shared<PlotOptions>();
    CommandOptions command = line.Add(
        {.name = "plot",
         .summary = "draw numbers over time",
         .group = CommandGroup::kReading,
         .examples = "  vantry plot \"Printhead Temperature\"\n"
                     "  vantry plot 'Sensors/*' --for 5m --png sensors.png\n"
                     "  vantry plot \"Printhead Temperature\" --since 2h --svg night.svg\n",
         .topics = "names times"},
        [options](const Context& context) { return RunPlot(context, *options); });
    command
        .Texts("property", options->words, "names, globs or groups",
               CommandOptions::Need::kRequired)
        .Text("--for", options->forTime, "from now on for this time (without a terminal: 10s)")
        .Text("--svg", options->svg, "write the picture to this file")
        .Text("--png", options->png, "write the picture to this file")
        .Flag("--force", options->force, "replace files that exist");
    HistoryOptions::AddFile(command, options->history);
    HistoryOptions::AddSpan(command, options->history);
}

}  // namespace vantry::cli
