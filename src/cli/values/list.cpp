// `vantry list`: a table of the properties, sorted by group, name and component.
//
// Without options the groups are headings. With columns or an order of one's own the table is flat.
// Columns are as wide as their longest entry, up to a limit, in columns of the terminal and not in
// bytes (see text.h). Values come last and aren't cut.

#include <fmt/core.h>

#include <strings.h>
#include <algorithm>
#include <functional>
#include <sstream>
#include <tuple>

#include "cli/base/command_line.h"
#include "cli/base/json.h"
#include "cli/base/suggestions.h"
#include "cli/base/table.h"
#include "cli/base/text.h"
#include "cli/select/catalog.h"
#include "cli/select/property_names.h"
#include "cli/values/columns.h"

namespace vantry::cli {
namespace {

using client::Property;

struct ListOptions {
    /// Parts of names, globs or groups. None matches everything.
    std::vector<std::string> words;
    // Patterns, see MatchesPattern. An empty one matches everything.
    std::string component;
    std::string group;
    std::string sort;
    std::string columns;
    bool csv = false;
    /// Prints one name a line, in the form that the other commands accept. Shell completion uses
    /// it.
    bool namesOnly = false;
};

constexpr const char* kUsualColumns = "name,component,group,value,unit";
constexpr std::size_t kWidestName = 48;
constexpr std::size_t kWidestComponent = 24;
constexpr std::size_t kIndent = 2;
constexpr std::size_t kGap = 2;
constexpr std::size_t kLeastValue = 8;

bool Matches(const Property& property, const std::string& word) {
    const std::vector<std::string> names = NamesOf(property);
    return MatchesPattern(property.name, word) ||
           strcasecmp(property.groupName.c_str(), word.c_str()) == 0 ||
           (IsGlob(word) && std::any_of(names.begin(), names.end(), [&](const std::string& name) {
                return MatchesPattern(name, word);
            }));
}

std::vector<Property> Chosen(const Catalog& catalog, const ListOptions& options) {
    std::vector<Property> chosen = catalog.All();
    std::erase_if(chosen, [&](const Property& property) {
        return !MatchesPattern(property.componentName, options.component) ||
               !MatchesPattern(property.groupName, options.group) ||
               (!options.words.empty() &&
                std::none_of(options.words.begin(), options.words.end(),
                             [&](const std::string& word) { return Matches(property, word); }));
    });
    std::stable_sort(chosen.begin(), chosen.end(), [](const Property& one, const Property& other) {
        return std::tie(one.groupName, one.name, one.componentName) <
               std::tie(other.groupName, other.name, other.componentName);
    });
    return chosen;
}

std::size_t Widest(const std::vector<Property>& properties, std::string Property::*field,
                   std::size_t most) {
    std::size_t widest = 0;
    for (const Property& property : properties) {
        widest = std::max(widest, ColumnsOf(Printable(property.*field)));
    }
    return std::min(widest, most);
}

/// Returns the columns for the component: none if a narrow terminal has no room for it beside
/// `others`.
std::size_t ComponentColumns(std::size_t wanted, std::size_t others) {
    constexpr std::size_t kLeast = 8;
    const std::size_t all = TerminalSize::ColumnsOfOutput();
    const std::size_t room = all - std::min(all, others);
    return room < std::min(wanted, kLeast) ? 0 : std::min(wanted, room);
}

void PrintByGroup(const Catalog& catalog, const std::vector<Property>& properties,
                  const Style& style) {
    const std::size_t nameColumns = Widest(properties, &Property::name, kWidestName);
    const std::size_t componentColumns =
        ComponentColumns(Widest(properties, &Property::componentName, kWidestComponent),
                         kIndent + nameColumns + 2 * kGap + kLeastValue);
    const std::string* group = nullptr;
    for (const Property& property : properties) {
        if (group == nullptr || *group != property.groupName) {
            fmt::print("{}{}\n", group == nullptr ? "" : "\n",
                       style.Heading(Printable(property.groupName)));
            group = &property.groupName;
        }
        const std::string unit = catalog.DescriptionOf(property).unit;
        const std::string name = Printable(property.name);
        const std::string component = Printable(property.componentName);
        std::size_t column = kIndent + nameColumns + kGap;
        fmt::print("  {}  {}", Fitted(name, nameColumns), style.ToColumn(column, name));
        if (componentColumns > 0) {
            column += componentColumns + kGap;
            fmt::print("{}  {}", style.Faint(Fitted(component, componentColumns)),
                       style.ToColumn(column, component));
        }
        fmt::print("{}{}\n", Printable(property.value),
                   unit.empty() ? "" : " " + style.Faint(unit));
    }
}

void PrintFlat(const Catalog& catalog, const std::vector<Property>& properties,
               const std::vector<const PropertyColumn*>& columns, const ListOptions& options,
               const Style& style) {
    std::vector<std::string> titles;
    titles.reserve(columns.size());
    for (const PropertyColumn* column : columns) {
        titles.emplace_back(column->name);
    }
    Table table(titles);
    for (const Property& property : properties) {
        std::vector<std::string> cells;
        cells.reserve(columns.size());
        for (const PropertyColumn* column : columns) {
            cells.push_back(column->text(catalog, property));
        }
        table.Add(std::move(cells));
    }
    fmt::print("{}", options.csv ? table.Csv() : table.Text(style));
}

void PrintJson(const Catalog& catalog, const std::vector<Property>& properties) {
    Json array = Json::array();
    for (const Property& property : properties) {
        array.push_back(JsonWithKnowledge(catalog, property));
    }
    fmt::print("{}\n", LineByLine(array));
}

void PrintNames(const Catalog& catalog, const std::vector<Property>& properties) {
    for (const Property& property : properties) {
        fmt::print("{}\n", catalog.NameOf(property));
    }
}

std::string NothingMatches(const ListOptions& options) {
    std::string text = "no property matches";
    for (const std::string& word : options.words) {
        text += " \"" + word + "\"";
    }
    return text + "; \"vantry list\" shows all";
}

int RunList(const Context& context, const ListOptions& options) {
    const bool isFlat = options.csv || !options.columns.empty() || !options.sort.empty();
    auto columns = ParseColumns(!options.columns.empty() ? options.columns
                                : options.csv ? "component,group,name,value,unit,type,owner,age"
                                              : kUsualColumns);
    if (!columns) {
        return FailUsage(columns.error().text);
    }
    const auto sort = options.sort.empty() ? client::Result<std::vector<const PropertyColumn*>>(
                                                 std::vector<const PropertyColumn*>())
                                           : ParseColumns(options.sort);
    if (!sort) {
        return FailUsage(sort.error().text);
    }
    // An order by something that isn't shown would look like none.
    for (const PropertyColumn* column : *sort) {
        if (options.columns.empty() &&
            std::find(columns->begin(), columns->end(), column) == columns->end()) {
            columns->push_back(column);
        }
    }
    const auto catalog = Catalog::Read(context);
    if (!catalog) {
        return Fail(catalog.error());
    }
    std::vector<Property> chosen = Chosen(*catalog, options);
    SortBy(*catalog, *sort, chosen);
    if (!options.namesOnly && !options.csv && !context.json) {
        catalog->PrintGoneOwners(chosen);
    }
    if (options.namesOnly) {
        PrintNames(*catalog, chosen);
    } else if (context.json) {
        PrintJson(*catalog, chosen);
    } else if (isFlat) {
        PrintFlat(*catalog, chosen, *columns, options, Style(context.Fancy()));
    } else {
        PrintByGroup(*catalog, chosen, Style(context.Fancy()));
    }
    return chosen.empty() ? Fail({client::ErrorCode::NotFound, NothingMatches(options)})
                          : Exit::kDone;
}

/// Returns the columns of the table of several printers: those of one printer, by their JSON.
SeveralOutput OnSeveral(const ListOptions& options) {
    if (options.namesOnly) {
        return SeveralOutput::Lines();
    }
    SeveralOutput output;
    output.csv = options.csv;
    std::istringstream names(options.columns.empty() ? kUsualColumns : options.columns);
    for (std::string name; std::getline(names, name, ',');) {
        const std::string title = Lower(name);
        output.columns.push_back({title, title == "name"  ? "/shortName"
                                         : title == "age" ? "/ageSeconds"
                                                          : "/" + title});
    }
    return output;
}

}  // namespace

void AddList(CommandLine& line) {
    const auto options = std::make_shared<ListOptions>();
    line.Add({.name = "list",
              .summary = "list the properties, by group",
              .group = CommandGroup::kReading,
              .examples = "  vantry list --group General\n"
                          "  vantry list '*temp*'\n"
                          "  vantry list --sort value --columns name,value,unit,owner\n"
                          "  vantry list --csv >properties.csv\n",
              .topics = "names"},
             [options](const Context& context) { return RunList(context, *options); })
        .Texts("name", options->words, "parts of names, globs, or groups")
        .Text("--component", options->component, "only of components named like this")
        .Text("--group", options->group, "only of groups named like this")
        .Text("--sort", options->sort, "by these columns, such as group,name")
        .Text("--columns", options->columns,
              "which, of name, value, unit, type, component, group, owner, age, guid")
        .Flag("--csv", options->csv, "print CSV")
        .Flag("--names", options->namesOnly, "one name a line")
        .OnSeveral([options] { return OnSeveral(*options); });
}

}  // namespace vantry::cli
