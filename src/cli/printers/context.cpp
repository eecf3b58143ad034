// `vantry context`: names for printers. Each command reads the file of names, changes what was read
// and replaces the file as a whole. The path of a socket is stored absolute, because other commands
// are run in other folders.

#include <fmt/core.h>

#include <filesystem>
#include <memory>
#include <system_error>

#include "cli/base/command_line.h"
#include "cli/base/json.h"
#include "cli/base/named_printers.h"
#include "cli/base/table.h"
#include "runtime/default_paths.h"

namespace vantry::cli {
namespace {

int RunAdd(const Context& context, const std::string& name) {
    if (context.tcp.empty() == context.device.empty()) {
        return FailUsage("a context needs an address: vantry context add " + name +
                         " --tcp HOST[:PORT], or --device PATH");
    }
    std::error_code error;
    const std::string device =
        context.device.empty()
            ? ""
            : std::filesystem::absolute(context.device, error).lexically_normal().string();
    const client::Outcome added = NamedPrinters::Change([&](NamedPrinters& printers) {
        return printers.Add({name, context.tcp, device});
    });
    if (!added) {
        return Fail(added.error());
    }
    fmt::print("\"{}\" is {}\n", name, context.tcp.empty() ? device : context.tcp);
    return Exit::kDone;
}

int RunList(const Context& context) {
    const auto printers = NamedPrinters::Read();
    if (!printers) {
        return Fail(printers.error());
    }
    Json array = Json::array();
    Table table({"context", "address", "in use"});
    for (const NamedPrinter& printer : printers->All()) {
        const bool isInUse = printer.name == printers->InUse();
        array.push_back({{"context", printer.name},
                         {"tcp", printer.tcp.empty() ? Json() : Json(printer.tcp)},
                         {"device", printer.device.empty() ? Json() : Json(printer.device)},
                         {"inUse", isInUse}});
        table.Add({printer.name, printer.tcp.empty() ? printer.device : printer.tcp,
                   isInUse ? "yes" : ""});
    }
    if (context.json) {
        fmt::print("{}\n", LineByLine(array));
    } else if (!table.IsEmpty()) {
        fmt::print("{}", table.Text(Style(context.Fancy())));
    } else {
        fmt::print("no contexts; \"vantry context add NAME --tcp HOST\" adds one\n");
    }
    return Exit::kDone;
}

int RunUse(const std::string& name) {
    const client::Outcome used =
        NamedPrinters::Change([&](NamedPrinters& printers) { return printers.Use(name); });
    if (!used) {
        return Fail(used.error());
    }
    if (name.empty()) {
        fmt::print("commands use the local device\n");
    } else {
        fmt::print("commands use \"{}\"\n", name);
    }
    for (const char* variable : {"VANTRY_DEVICE", "VANTRY_CONTEXT"}) {
        if (!Environment(variable).empty()) {
            fmt::print(stderr, "vantry: ${} is set and has priority; unset it\n", variable);
        }
    }
    return Exit::kDone;
}

int RunRemove(const std::string& name) {
    const client::Outcome removed =
        NamedPrinters::Change([&](NamedPrinters& printers) { return printers.Remove(name); });
    return removed ? Exit::kDone : Fail(removed.error());
}

}  // namespace

void AddContext(CommandLine& line) {
    constexpr const char* kGroup = CommandGroup::kPrinters;
    const auto name = std::make_shared<std::string>();
    line.AddFamily({.name = "context", .summary = "names for printers", .group = kGroup});
    line.Add({.name = "context add",
              .summary = "name the printer of --tcp or --device",
              .group = kGroup,
              .examples = "  vantry context add press1 --tcp 10.0.0.7\n"
                          "  vantry --on all get \"Firmware Version\"\n"},
             [name](const Context& context) { return RunAdd(context, *name); })
        .Text("name", *name, "the name", CommandOptions::Need::kRequired);
    line.Add({.name = "context list", .summary = "list them", .group = kGroup}, RunList);
    line.Add({.name = "context use",
              .summary = "select the printer that commands use by default",
              .group = kGroup},
             [name](const Context&) { return RunUse(*name); })
        .Text("printer", *name, "its name (default: the local device)");
    line.Add({.name = "context remove", .summary = "forget a printer", .group = kGroup},
             [name](const Context&) { return RunRemove(*name); })
        .Text("printer", *name, "its name", CommandOptions::Need::kRequired);
}

}  // namespace vantry::cli
