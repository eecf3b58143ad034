#include "cli/history/history_options.h"

#include "cli/base/context.h"
#include "cli/history/time_text.h"
#include "runtime/default_paths.h"

namespace vantry::cli {

std::filesystem::path HistoryOptions::File() const {
    return file.empty() ? DefaultHistory() : std::filesystem::path(file);
}

client::Result<history::Span> HistoryOptions::Span() const {
    const history::Moment now = history::Now();
    history::Span span{0, now};
    for (const auto& [text, moment] :
         {std::pair(&since, &span.begin), std::pair(&until, &span.end)}) {
        if (text->empty()) {
            continue;
        }
        const auto parsed = ParseMoment(*text, now);
        if (!parsed) {
            return parsed.error();
        }
        *moment = *parsed;
    }
    return span;
}

int HistoryOptions::Read(
    const std::function<int(history::History&, history::Span)>& function) const {
    const auto span = Span();
    if (!span) {
        return FailUsage(span.error().text);
    }
    auto history = history::History::Open(File());
    return history ? function(*history, *span) : Fail(history.error());
}

void HistoryOptions::AddFile(CommandOptions& command, HistoryOptions& into) {
    command.Text("--file", into.file, "the history (default: history.db in vantry-history)");
}

void HistoryOptions::AddSpan(CommandOptions& command, HistoryOptions& into) {
    command.Text("--since", into.since, "from this time on: 2h, 7d, \"2026-03-01 14:30\"")
        .Text("--until", into.until, "up to this time");
}

}  // namespace vantry::cli
