// `vantry` without a command: what the hub has, in a few lines, and commands to try. At a terminal
// the shell follows.

#include <fmt/core.h>
#include <unistd.h>

#include <map>

#include "cli/base/command_line.h"
#include "cli/base/json.h"
#include "cli/base/named_printers.h"
#include "cli/base/terminal.h"
#include "cli/base/text.h"
#include "cli/select/catalog.h"
#include "cli/shell/shell.h"

namespace vantry::cli {
namespace {

/// What is known of the hub and its properties.
struct Overview {
    std::string hub;
    std::string firmware;
    std::size_t properties = 0;
    /// The properties of each component.
    std::map<std::string, std::size_t> components;
    /// Why the owners of components are gone, see Catalog::GoneOwners.
    std::map<std::string, std::string> gone;
    std::size_t printers = 0;
    std::string printerInUse;
};

Overview OverviewOf(const Catalog& catalog, const std::string& hub) {
    Overview overview;
    overview.hub = hub;
    overview.properties = catalog.All().size();
    overview.gone = catalog.GoneOwners(catalog.All());
    for (const client::Property& property : catalog.All()) {
        ++overview.components[Printable(property.componentName)];
        if (property.name == "Firmware Version") {
            overview.firmware = Printable(property.value);
        }
    }
    if (const auto printers = NamedPrinters::Read()) {
        overview.printers = printers->All().size();
        overview.printerInUse = printers->InUse();
    }
    return overview;
}

/// Returns the largest components with their numbers of properties.
std::string LargestOf(const std::map<std::string, std::size_t>& components) {
    constexpr std::size_t kShown = 4;
    std::multimap<std::size_t, std::string, std::greater<>> bySize;
    for (const auto& [name, count] : components) {
        bySize.emplace(count, name);
    }
    std::string text;
    std::size_t shown = 0;
    for (const auto& [count, name] : bySize) {
        text += fmt::format("{}{} {}", text.empty() ? "" : ", ", name, count);
        if (++shown == kShown) {
            break;
        }
    }
    return bySize.size() > shown ? text + ", ..." : text;
}

void Print(const Overview& overview, const Style& style) {
    fmt::print("{} is up at {}\n", style.Heading("the hub"), overview.hub);
    fmt::print("firmware    {}\n", overview.firmware.empty() ? "unknown" : overview.firmware);
    fmt::print("properties  {} ({})\n", overview.properties, LargestOf(overview.components));
    std::string gone;
    for (const auto& [name, why] : overview.gone) {
        gone += (gone.empty() ? "" : ", ") + name;
    }
    fmt::print("gone        {}\n", gone.empty() ? "no owner, as far as is known" : style.Bad(gone));
    fmt::print("printers    {}\n",
               overview.printers == 0
                   ? "none named; one printer needs no name"
                   : fmt::format("{} named, in use: {}", overview.printers,
                                 overview.printerInUse.empty() ? "none" : overview.printerInUse));
    fmt::print(
        "\ntry   vantry list           all properties\n"
        "      vantry watch --live   a table of what changes\n"
        "      vantry help           all commands\n");
}

int RunAlone(const CommandLine& line, const Context& context) {
    const auto endpoint = context.HubEndpoint();
    if (!endpoint) {
        return Fail(endpoint.error());
    }
    {
        const auto catalog = Catalog::Read(context);
        if (!catalog) {
            const int status = Fail(catalog.error());
            fmt::print(stderr,
                       "try   vantry doctor         what is wrong\n"
                       "      vantry --tcp HOST     a hub on another machine\n"
                       "      vantry help           all commands\n");
            return status;
        }
        Print(OverviewOf(*catalog, endpoint->Name()), Style(context.Fancy()));
    }
    if (isatty(STDIN_FILENO) != 1 || isatty(STDOUT_FILENO) != 1) {
        return Exit::kDone;
    }
    fmt::print("\nThis is its shell: type a command, Tab completes, Ctrl-D ends.\n");
    std::fflush(stdout);
    return RunShell(line, context);
}

}  // namespace

void AddAlone(CommandLine& line) {
    line.SetAlone([&line](const Context& context) { return RunAlone(line, context); });
}

}  // namespace vantry::cli
