// `vantry status`: what a client can see of a hub.
//
// The versions and the number of properties come over the connection. The hub has no way to read
// its log through it, so the last lines are read from the file, which works only on the hub's own
// machine; a log that can't be read is left out without an error, unless --root names its place.

#include <fmt/core.h>

#include <algorithm>
#include <deque>
#include <fstream>
#include <map>
#include <optional>

#include "cli/base/command_line.h"
#include "cli/base/json.h"
#include "cli/base/terminal.h"
#include "cli/base/text.h"
#include "cli/select/catalog.h"
#include "runtime/default_paths.h"

namespace vantry::cli {
namespace {

constexpr std::size_t kLastLines = 5;

/// Returns the last lines of the hub's log, or nothing if it can't be read.
std::optional<std::deque<std::string>> LastLogLines(const std::string& root) {
    std::ifstream file(root + "/Store/VantryLogFileName.txt");
    if (!file) {
        return std::nullopt;
    }
    std::deque<std::string> lines;
    for (std::string line; std::getline(file, line);) {
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        lines.push_back(line);
        if (lines.size() > kLastLines) {
            lines.pop_front();
        }
    }
    return lines;
}

/// What the command prints.
struct Report {
    std::string endpoint;
    std::map<std::string, std::string> versions;
    std::map<std::string, std::size_t> byComponent;
    /// Why owners are gone, see Catalog::GoneOwners.
    std::map<std::string, std::string> gone;
    std::size_t properties = 0;
    /// See Context::OutsideLink.
    std::string outsideLink;
    /// Whether the hub found no good property file at its start.
    bool runsWithDefaults = false;
    std::deque<std::string> log;
};

void PrintJson(const Report& report) {
    fmt::print("{}\n", OneLine({{"hub", report.endpoint},
                                {"properties", report.properties},
                                {"defaultSettings", report.runsWithDefaults},
                                {"versions", report.versions},
                                {"components", report.byComponent},
                                {"gone", report.gone},
                                {"log", report.log}}));
}

void PrintText(const Report& report, const Style& style) {
    fmt::print("{} is up at {}\n", style.Heading("the hub"), report.endpoint);
    for (const auto& [name, value] : report.versions) {
        fmt::print("  {}  {}\n", Fitted(name, 30), Printable(value));
    }
    const bool lacksVersions =
        std::any_of(report.versions.begin(), report.versions.end(),
                    [](const auto& version) { return version.second == "Error"; });
    if (lacksVersions) {
        fmt::print(
            "  Error: the hub found no file with this version; \"vantry doctor\" tells more\n");
    }
    if (report.runsWithDefaults) {
        fmt::print("settings: the defaults; none were saved before its start\n");
    }
    fmt::print("{}{}\n", Counted(report.properties, "property"),
               report.outsideLink.empty() ? ""
                                          : ", which are those shown over " + report.outsideLink +
                                                "; the local device of the hub shows all");
    for (const auto& [name, count] : report.byComponent) {
        const auto gone = report.gone.find(name);
        fmt::print("  {}  {}{}\n", Fitted(name, 30), count,
                   gone == report.gone.end() ? "" : "  " + style.Bad("gone: " + gone->second));
    }
    if (!report.log.empty()) {
        fmt::print("last lines of the log\n");
    }
    for (const std::string& line : report.log) {
        fmt::print("  {}\n", Printable(line));
    }
}

int RunStatus(const Context& context, const std::string& root) {
    const auto endpoint = context.HubEndpoint();
    const auto catalog = Catalog::Read(context);
    if (!catalog) {
        return Fail(catalog.error());
    }
    Report report;
    report.endpoint = endpoint->Name();
    report.outsideLink = context.OutsideLink();
    report.properties = catalog->All().size();
    report.gone = catalog->GoneOwners(catalog->All());
    for (const client::Property& property : catalog->All()) {
        ++report.byComponent[Printable(property.componentName)];
        if (property.groupName == "Product Info") {
            report.versions[property.name] = property.value;
        }
        report.runsWithDefaults |= property.id.component == client::Hub::OwnComponent() &&
                                   property.name == "Property Loading Error" &&
                                   property.value == "True";
    }
    // A log of this machine isn't that of a hub on another one.
    const bool isElsewhere = root.empty() && endpoint->path.empty();
    const auto log =
        isElsewhere ? std::nullopt : LastLogLines(root.empty() ? DefaultRoot().string() : root);
    if (!log && !root.empty()) {
        return Fail({client::ErrorCode::NotFound, root + ": there is no log of a hub"});
    }
    report.log = log.value_or(std::deque<std::string>());
    if (context.json) {
        PrintJson(report);
    } else {
        PrintText(report, Style(context.Fancy()));
    }
    return Exit::kDone;
}

}  // namespace

void AddStatus(CommandLine& line) {
    const auto root = std::make_shared<std::string>();
    line.Add({.name = "status",
              .summary = "what the hub is and holds",
              .group = CommandGroup::kFindingOut,
              .topics = "faults"},
             [root](const Context& context) { return RunStatus(context, *root); })
        .Text("--root", *root, "root directory of the hub, for its log")
        .OnSeveral([] {
            return SeveralOutput::Rows({{"hub", "/hub"},
                                        {"properties", "/properties"},
                                        {"firmware", "/versions/Firmware Version"}});
        });
}

}  // namespace vantry::cli
