// `vantry history export`: all changes, in the order of time, for another program.

#include <fmt/core.h>

#include <map>
#include <memory>
#include <string>

#include "cli/base/command_line.h"
#include "cli/base/json.h"
#include "cli/base/text.h"
#include "cli/history/history_options.h"
#include "cli/history/time_text.h"
#include "describe/glob.h"
#include "history/history.h"

namespace vantry::cli {
namespace {

using client::Property;
using history::Sample;

struct ExportOptions {
    HistoryOptions history;
    std::string glob = "*";
    bool csv = false;
    bool lineProtocol = false;
};

void PrintCsv(const Property& property, const Sample& sample) {
    fmt::print("{},{},{},{},{},{},{},{},{}\n", UtcTime(sample.time),
               CsvText(property.componentName), CsvText(property.groupName), CsvText(property.name),
               CsvText(property.id.component), CsvText(property.id.group),
               CsvText(property.id.property), NameOf(sample.kind),
               sample.value ? CsvText(*sample.value) : "");
}

void PrintJson(Property property, const Sample& sample) {
    property.value = sample.value.value_or("");
    property.available = sample.value.has_value();
    std::string line = OneLine(JsonOf(property));
    line.insert(1, fmt::format("\"time\":\"{}\",\"kind\":\"{}\",", UtcTime(sample.time),
                               NameOf(sample.kind)));
    fmt::print("{}\n", line);
}

/// Returns the text with a backslash before each of these characters. Line breaks, which the line
/// protocol can't express, become blanks.
std::string Escaped(const std::string& text, const std::string& special) {
    std::string escaped;
    for (const char byte : text) {
        if (special.find(byte) != std::string::npos) {
            escaped += '\\';
        }
        escaped += byte == '\n' || byte == '\r' ? ' ' : byte;
    }
    return escaped;
}

void PrintLineProtocol(const Property& property, const Sample& sample) {
    if (!sample.value) {
        return;
    }
    const auto number = history::NumberOf(*sample.value);
    const std::string field = number ? fmt::format("value={:.17g}", *number)
                                     : "text=\"" + Escaped(*sample.value, "\"\\") + "\"";
    std::string tags;
    for (const auto& [name, text] :
         {std::pair("component", &property.componentName), std::pair("group", &property.groupName),
          std::pair("name", &property.name)}) {
        if (!text->empty()) {
            tags += fmt::format(",{}={}", name, Escaped(*text, ",= "));
        }
    }
    fmt::print("vantry{} {} {}000\n", tags, field, sample.time);
}

int Export(const Context& context, const ExportOptions& options, history::History& history,
           history::Span span) {
    const bool asCsv = !context.json && !options.lineProtocol;
    if (asCsv) {
        fmt::print("time,component,group,name,componentGuid,groupGuid,guid,kind,value\n");
    }
    // The glob is tried once for each property.
    std::map<client::PropertyId, bool> wanted;
    const auto outcome = history.ForEach(span, [&](const Property& property, const Sample& sample) {
        const auto [place, isNew] = wanted.try_emplace(property.id, false);
        if (isNew) {
            place->second =
                describe::GlobNames(options.glob, property, describe::LetterCase::Ignored);
        }
        if (!place->second) {
            return;
        }
        if (context.json) {
            PrintJson(property, sample);
        } else if (asCsv) {
            PrintCsv(property, sample);
        } else {
            PrintLineProtocol(property, sample);
        }
    });
    return outcome ? Exit::kDone : Fail(outcome.error());
}

}  // namespace

void AddHistoryExport(CommandLine& line) {
    const auto options = std::make_shared<ExportOptions>();
    CommandOptions command = line.Add(
        {.name = "history export",
         .summary = "print all recorded changes",
         .group = CommandGroup::kReading,
         .examples = "  vantry history export --since 7d >week.csv\n"
                     "  vantry history export 'Sensors/*' --line-protocol\n",
         .topics = "times"},
        [options](const Context& context) {
            return options->history.Read([&](history::History& history, history::Span span) {
                return Export(context, *options, history, span);
            });
        });
    command.Text("glob", options->glob, "only properties whose name matches");
    HistoryOptions::AddFile(command, options->history);
    HistoryOptions::AddSpan(command, options->history);
    command.Flag("--csv", options->csv, "print lines for a spreadsheet, which is the default")
        .Flag("--line-protocol", options->lineProtocol, "print lines for a time-series database");
}

}  // namespace vantry::cli
