// `vantry status`: what a client can see of a hub.
//
// The versions and the number of properties come over the connection. The hub has no way to read
// its log through it, so the last lines are read from the file, which works only on the hub's own
// machine; a log that can't be read is left out without an error.

#include <fmt/core.h>

#include <deque>
#include <fstream>
#include <map>

#include "cli/base/command_line.h"
#include "cli/base/terminal.h"
#include "cli/base/text.h"
#include "runtime/default_paths.h"

namespace vantry::cli {
namespace {

constexpr std::size_t kLastLines = 5;

/// Returns the last lines of the hub's log, or none if it can't be read.
std::deque<std::string> LastLogLines(const std::string& root) {
    std::ifstream file(root + "/Store/VantryLogFileName.txt");
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
    std::size_t properties = 0;
    std::deque<std::string> log;
};

void PrintJson(const Report& report) {
    fmt::print("{{\"hub\":{},\"properties\":{},\"versions\":{{", JsonString(report.endpoint),
               report.properties);
    const char* comma = "";
    for (const auto& [name, value] : report.versions) {
        fmt::print("{}{}:{}", comma, JsonString(name), JsonString(value));
        comma = ",";
    }
    fmt::print("}},\"components\":{{");
    comma = "";
    for (const auto& [name, count] : report.byComponent) {
        fmt::print("{}{}:{}", comma, JsonString(name), count);
        comma = ",";
    }
    fmt::print("}},\"log\":[");
    comma = "";
    for (const std::string& line : report.log) {
        fmt::print("{}{}", comma, JsonString(line));
        comma = ",";
    }
    fmt::print("]}}\n");
}

void PrintText(const Report& report, const Style& style) {
    fmt::print("{} is up at {}\n", style.Heading("the hub"), report.endpoint);
    for (const auto& [name, value] : report.versions) {
        fmt::print("  {}  {}\n", Fitted(name, 30), Printable(value));
    }
    fmt::print("{} properties\n", report.properties);
    for (const auto& [name, count] : report.byComponent) {
        fmt::print("  {}  {}\n", Fitted(Printable(name), 30), count);
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
    const auto seen = context.ConnectAndReadAll();
    if (!seen) {
        return Fail(seen.error());
    }
    Report report;
    report.endpoint = endpoint->Name();
    report.properties = seen->properties.size();
    for (const client::Property& property : seen->properties) {
        ++report.byComponent[property.componentName];
        if (property.groupName == "Product Info") {
            report.versions[property.name] = property.value;
        }
    }
    report.log = LastLogLines(root.empty() ? DefaultRoot().string() : root);
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
