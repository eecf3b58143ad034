// `vantry settings`: property files and override files of the hub, without a hub.
//
// Such a file has lines of text and a check value behind them (docs/PROPERTY_FILE.md). To change
// one, its lines are exported, edited as text, and imported again.

#include <fmt/core.h>

#include "cli/base/command_line.h"
#include "cli/base/files.h"
#include "cli/base/json.h"
#include "cli/base/text.h"
#include "store/format/property_text.h"

namespace vantry::cli {
namespace {

using client::Error;
using client::ErrorCode;

struct SettingsOptions {
    std::string action;
    std::string file;
    std::string into;
    bool force = false;
};

client::Result<StoredLines> ReadSettings(const std::string& name) {
    const auto content = ReadWholeFile(name);
    if (!content) {
        return content.error();
    }
    StoredLines lines;
    if (ParsePropertyContent(*content, lines)) {
        return lines;
    }
    const std::string whole(TextOfPropertyContent(*content));
    return Error{ErrorCode::Refused,
                 name + (content->size() < 3 ? ": it is too short to be a property file"
                         : MakePropertyContent(whole) != *content
                             ? ": its check value is wrong; the hub would use its backup"
                             : ": a line has another form than GROUP:GUID|Group:Name=value")};
}

int Check(const Context& context, const std::string& name) {
    const auto lines = ReadSettings(name);
    if (context.json) {
        fmt::print("{}\n", OneLine({{"file", name},
                                    {"good", static_cast<bool>(lines)},
                                    {"settings", lines ? Json(lines->size()) : Json()},
                                    {"problem", lines ? Json() : Json(lines.error().text)}}));
        return lines ? Exit::kDone : Exit::kRefused;
    }
    if (!lines) {
        return Fail(lines.error());
    }
    fmt::print("{}: good, {} settings\n", name, lines->size());
    return Exit::kDone;
}

int Export(const Context& context, const SettingsOptions& options) {
    const auto lines = ReadSettings(options.file);
    if (!lines) {
        return Fail(lines.error());
    }
    std::string text;
    Json array = Json::array();
    for (const auto& [key, line] : *lines) {
        text += line.prefix + "=" + line.value + "\n";
        array.push_back({{"key", key}, {"prefix", line.prefix}, {"value", line.value}});
    }
    const auto written =
        WriteWholeFile(options.into.empty() ? "-" : options.into,
                       context.json ? LineByLine(array) + "\n" : text, options.force);
    return written ? Exit::kDone : Fail(written.error());
}

int Import(const Context& context, const SettingsOptions& options) {
    if (options.into.empty()) {
        return FailUsage("vantry settings import LINES FILE: the file to make is missing");
    }
    const auto text = ReadWholeFile(options.file);
    if (!text) {
        return Fail(text.error());
    }
    const std::string content =
        MakePropertyContent(text->empty() || text->back() == '\n' ? *text : *text + "\n");
    StoredLines lines;
    if (!ParsePropertyContent(content, lines)) {
        return Fail({ErrorCode::Refused,
                     options.file + ": a line has another form than GROUP:GUID|Group:Name=value"});
    }
    if (const auto written = WriteWholeFile(options.into, content, options.force); !written) {
        return Fail(written.error());
    }
    if (context.json) {
        fmt::print("{}\n", OneLine({{"file", options.into}, {"settings", lines.size()}}));
    }
    return Exit::kDone;
}

int RunSettings(const Context& context, const SettingsOptions& options) {
    if (options.action == "check") {
        return Check(context, options.file);
    }
    return options.action == "export" ? Export(context, options) : Import(context, options);
}

}  // namespace

void AddSettings(CommandLine& line) {
    const auto options = std::make_shared<SettingsOptions>();
    line.Add(
            {.name = "settings",
             .summary = "check, export or import a property file of the hub",
             .group = CommandGroup::kByHand,
             .examples = "  vantry settings check Store/VantryProperties.ini\n"
                         "  vantry settings export Store/VantryProperties.ini lines.txt\n"
                         "  vantry settings import lines.txt Store/VantryPropertiesOverride.ini\n"},
            [options](const Context& context) { return RunSettings(context, *options); })
        .OneOf("action", options->action, {"check", "export", "import"},
               "check a file, print its lines, or make one of lines",
               CommandOptions::Need::kRequired)
        .Text("file", options->file, "the file to read; - is standard input",
              CommandOptions::Need::kRequired)
        .Text("into", options->into, "the file to write (default of export: standard output)")
        .Flag("--force", options->force, "replace a file that exists");
}

}  // namespace vantry::cli
