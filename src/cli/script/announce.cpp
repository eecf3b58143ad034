// `vantry announce`: a component whose properties come from a file.
//
// The client library answers writes on a thread of its own; the main thread changes the values of
// ramps ten times a second until the program is interrupted, and then withdraws every property. A
// ramp's value depends on the time since the start alone, so a late step doesn't slow it down.

#include <fmt/core.h>

#include <chrono>
#include <cmath>
#include <cstring>
#include <fstream>
#include <thread>

#include "cli/base/command_line.h"
#include "cli/base/json.h"
#include "cli/base/terminal.h"
#include "cli/base/text.h"
#include "cli/script/script.h"

namespace vantry::cli {
namespace {

constexpr std::chrono::milliseconds kStep(100);

client::Result<std::vector<ScriptedProperty>> ReadFile(const std::string& name) {
    std::ifstream file(name);
    if (!file) {
        return client::Error{client::ErrorCode::Refused, name + ": " + std::strerror(errno)};
    }
    auto script = ReadScript(file);
    if (!script) {
        return client::Error{script.error().code, name + ": " + script.error().text};
    }
    return script;
}

/// Prints each write that the component gets, together with the value that results.
void PrintWritesOf(client::Announcement& announcement, bool json) {
    if (!announcement.onWrite) {
        return;
    }
    announcement.onWrite = [answer = announcement.onWrite, name = announcement.name,
                            json](const std::string& written) {
        const std::optional<std::string> value = answer(written);
        if (json) {
            fmt::print("{}\n", OneLine({{"property", name},
                                        {"written", written},
                                        {"value", value ? Json(*value) : Json()}}));
        } else {
            fmt::print("{} was written {}, is now {}\n", Printable(name), Printable(written),
                       Printable(value.value_or("as before")));
        }
        std::fflush(stdout);
        return value;
    };
}

void MoveRamps(client::Hub& hub, const std::vector<ScriptedProperty>& script) {
    const auto start = std::chrono::steady_clock::now();
    while (!Interrupted()) {
        std::this_thread::sleep_for(kStep);
        const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
        for (const ScriptedProperty& property : script) {
            if (property.ramp) {
                const double value = std::max(0.0, std::round(property.ramp->At(elapsed.count())));
                static_cast<void>(
                    hub.Change(property.announcement.id, fmt::format("{:.0f}", value)));
            }
        }
    }
}

int RunAnnounce(const Context& context, const std::string& fileName) {
    const auto script = ReadFile(fileName);
    if (!script) {
        return Fail(script.error());
    }
    const auto hub = context.Connect();
    if (!hub) {
        return Fail(hub.error());
    }
    CatchInterrupts();
    std::vector<client::Announcement> announcements;
    for (const ScriptedProperty& property : *script) {
        announcements.push_back(property.announcement);
        PrintWritesOf(announcements.back(), context.json);
    }
    const client::Outcome announced = (*hub)->Announce(announcements);
    if (!announced) {
        return Fail(announced.error());
    }
    if (context.json) {
        fmt::print("{}\n", OneLine({{"announced", announcements.size()}}));
    } else {
        const bool isOne = announcements.size() == 1;
        fmt::print("announced {}; Ctrl-C withdraws {}\n", Counted(announcements.size(), "property"),
                   isOne ? "it" : "them");
    }
    std::fflush(stdout);
    MoveRamps(**hub, *script);
    for (const client::Announcement& announcement : announcements) {
        static_cast<void>((*hub)->Withdraw(announcement.id));
    }
    return Exit::kDone;
}

}  // namespace

void AddAnnounce(CommandLine& line) {
    const auto file = std::make_shared<std::string>();
    line.Add({.name = "announce",
              .summary = "play a component from a file",
              .group = CommandGroup::kByHand,
              .examples = "  vantry announce fan.txt\n"},
             [file](const Context& context) { return RunAnnounce(context, *file); })
        .Text("file", *file, "its properties, see vantry(1)", CommandOptions::Need::kRequired);
}

}  // namespace vantry::cli
