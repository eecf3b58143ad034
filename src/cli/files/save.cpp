// `vantry save` and `vantry diff`: values to a file, and what differs.

#include <fmt/core.h>

#include <map>

#include "cli/base/command_line.h"
#include "cli/base/files.h"
#include "cli/base/json.h"
#include "cli/base/terminal.h"
#include "cli/base/text.h"
#include "cli/files/saved_values.h"
#include "cli/select/catalog.h"
#include "cli/select/property_names.h"

namespace vantry::cli {
namespace {

using client::Property;

struct SaveOptions {
    std::string file;
    std::vector<std::string> words;
    bool force = false;
};

int RunSave(const Context& context, const SaveOptions& options) {
    const auto catalog = Catalog::Read(context);
    if (!catalog) {
        return Fail(catalog.error());
    }
    const auto selected = catalog->Select(options.words);
    if (!selected) {
        return Fail(selected.error());
    }
    const std::string content = SavedValues(*selected, context.HubEndpoint()->Name());
    if (const auto written = WriteWholeFile(options.file, content, options.force); !written) {
        return Fail(written.error());
    }
    if (options.file != "-" && context.json) {
        fmt::print("{}\n", OneLine({{"file", options.file}, {"properties", selected->size()}}));
    } else if (options.file != "-") {
        fmt::print("saved {} to {}\n", Counted(selected->size(), "property"), options.file);
    }
    return Exit::kDone;
}

/// A property that isn't the same on both sides; one of them may be missing.
struct Difference {
    const Property* before = nullptr;
    const Property* after = nullptr;
};

std::vector<Difference> Compare(const std::vector<Property>& before,
                                const std::vector<Property>& after) {
    std::map<client::PropertyId, Difference> sides;
    for (const Property& property : before) {
        sides[property.id].before = &property;
    }
    for (const Property& property : after) {
        sides[property.id].after = &property;
    }
    std::vector<Difference> differences;
    for (const auto& [id, pair] : sides) {
        if (pair.before == nullptr || pair.after == nullptr ||
            pair.before->value != pair.after->value) {
            differences.push_back(pair);
        }
    }
    return differences;
}

void PrintDifference(const Names& names, const Difference& difference, const Style& style) {
    if (difference.before == nullptr) {
        fmt::print("{}\n", style.Changed(fmt::format("+ {} = {}", names.Of(*difference.after),
                                                     Printable(difference.after->value))));
    } else if (difference.after == nullptr) {
        fmt::print("{}\n", style.Bad(fmt::format("- {} = {}", names.Of(*difference.before),
                                                 Printable(difference.before->value))));
    } else {
        fmt::print("  {}: {} -> {}\n", names.Of(*difference.after),
                   Printable(difference.before->value),
                   style.Changed(Printable(difference.after->value)));
    }
}

Json ToJson(const Difference& difference) {
    Json object = JsonOf(difference.after != nullptr ? *difference.after : *difference.before);
    object.erase("value");
    object.erase("available");
    object["before"] = difference.before != nullptr ? Json(difference.before->value) : Json();
    object["after"] = difference.after != nullptr ? Json(difference.after->value) : Json();
    return object;
}

struct DiffOptions {
    std::string before;
    std::string after;
};

client::Result<std::vector<Property>> ReadHub(const Context& context) {
    auto seen = context.ConnectAndReadAll();
    if (!seen) {
        return seen.error();
    }
    return std::move(seen->properties);
}

int RunDiff(const Context& context, const DiffOptions& options) {
    const auto before = ReadSavedValues(options.before);
    if (!before) {
        return Fail(before.error());
    }
    const auto after = options.after.empty() ? ReadHub(context) : ReadSavedValues(options.after);
    if (!after) {
        return Fail(after.error());
    }
    Names names(*after);
    for (const Property& property : *before) {
        names.Add(property);
    }
    const std::vector<Difference> differences = Compare(*before, *after);
    Json array = Json::array();
    for (const Difference& difference : differences) {
        if (context.json) {
            array.push_back(ToJson(difference));
        } else {
            PrintDifference(names, difference, Style(context.Fancy()));
        }
    }
    if (context.json) {
        fmt::print("{}\n", LineByLine(array));
    }
    return differences.empty() ? Exit::kDone : Exit::kRefused;
}

}  // namespace

void AddSave(CommandLine& line) {
    const auto options = std::make_shared<SaveOptions>();
    line.Add({.name = "save",
              .summary = "write values to a file",
              .group = CommandGroup::kReading,
              .examples = "  vantry save before.json\n"
                          "  vantry save general.json General 'Motors/*'\n",
              .topics = "names scripts"},
             [options](const Context& context) { return RunSave(context, *options); })
        .Text("file", options->file, "the file; - is standard output",
              CommandOptions::Need::kRequired)
        .Texts("property", options->words, "names, globs or groups (default: everything)")
        .Flag("--force", options->force, "replace a file that exists");
}

void AddDiff(CommandLine& line) {
    const auto options = std::make_shared<DiffOptions>();
    line.Add({.name = "diff",
              .summary = "what differs from saved values; exit status 1 if something does",
              .group = CommandGroup::kReading,
              .examples = "  vantry diff before.json\n  vantry diff before.json after.json\n",
              .topics = "scripts"},
             [options](const Context& context) { return RunDiff(context, *options); })
        .Text("before", options->before, "a file of \"vantry save\"",
              CommandOptions::Need::kRequired)
        .Text("after", options->after, "another one (default: the hub)");
}

}  // namespace vantry::cli
