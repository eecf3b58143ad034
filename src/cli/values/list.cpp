// `vantry list`: a table of the properties, sorted by group, name and component.
//
// Columns are as wide as their longest entry, up to a limit, in columns of the terminal and not in
// bytes (see text.h). Values come last and aren't cut.

#include <fmt/core.h>

#include <algorithm>
#include <map>
#include <tuple>

#include "cli/base/command_line.h"
#include "cli/base/terminal.h"
#include "cli/base/text.h"
#include "cli/select/property_names.h"

namespace vantry::cli {
namespace {

using client::Property;

struct ListOptions {
    // Patterns, see MatchesPattern. An empty one matches everything.
    std::string component;
    std::string group;
    std::string name;
    /// Prints one name a line, in the form that the other commands accept. Shell completion uses
    /// it.
    bool namesOnly = false;
};

constexpr std::size_t kWidestName = 48;
constexpr std::size_t kWidestComponent = 24;

void PrintJson(const std::vector<Property>& properties) {
    fmt::print("[");
    for (std::size_t place = 0; place < properties.size(); ++place) {
        fmt::print("{}{}", place == 0 ? "\n" : ",\n", ToJson(properties[place]));
    }
    fmt::print("\n]\n");
}

std::size_t Widest(const std::vector<Property>& properties, std::string Property::*field,
                   std::size_t most) {
    std::size_t widest = 0;
    for (const Property& property : properties) {
        widest = std::max(widest, ColumnsOf(Printable(property.*field)));
    }
    return std::min(widest, most);
}

void PrintTable(const std::vector<Property>& properties, const Style& style) {
    const std::size_t nameColumns = Widest(properties, &Property::name, kWidestName);
    const std::size_t componentColumns =
        Widest(properties, &Property::componentName, kWidestComponent);
    const std::string* group = nullptr;
    for (const Property& property : properties) {
        if (group == nullptr || *group != property.groupName) {
            fmt::print("{}{}\n", group == nullptr ? "" : "\n",
                       style.Heading(Printable(property.groupName)));
            group = &property.groupName;
        }
        fmt::print("  {}  {}  {}\n", Fitted(Printable(property.name), nameColumns),
                   style.Faint(Fitted(Printable(property.componentName), componentColumns)),
                   Printable(property.value));
    }
}

int RunList(const Context& context, const ListOptions& options) {
    auto seen = context.ConnectAndReadAll();
    if (!seen) {
        return Fail(seen.error());
    }
    std::vector<Property>& all = seen->properties;
    std::erase_if(all, [&](const Property& property) {
        return !MatchesPattern(property.componentName, options.component) ||
               !MatchesPattern(property.groupName, options.group) ||
               !MatchesPattern(property.name, options.name);
    });
    std::stable_sort(all.begin(), all.end(), [](const Property& one, const Property& other) {
        return std::tie(one.groupName, one.name, one.componentName) <
               std::tie(other.groupName, other.name, other.componentName);
    });
    if (options.namesOnly) {
        for (const Property& property : all) {
            fmt::print("{}\n", DisplayName(property, false));
        }
    } else if (context.json) {
        PrintJson(all);
    } else {
        PrintTable(all, Style(context.Fancy()));
    }
    return all.empty() && !context.json ? Exit::kRefused : Exit::kDone;
}

}  // namespace

void AddList(CommandLine& line) {
    const auto options = std::make_shared<ListOptions>();
    line.Add({.name = "list",
              .summary = "list the properties, by group",
              .group = CommandGroup::kReading,
              .examples = "  vantry list --group General\n  vantry list '*temp*'\n"},
             [options](const Context& context) { return RunList(context, *options); })
        .Text("name", options->name, "only names that hold this, or match this glob")
        .Text("--component", options->component, "only of components named like this")
        .Text("--group", options->group, "only of groups named like this")
        .Flag("--names", options->namesOnly, "one name a line");
}

}  // namespace vantry::cli
