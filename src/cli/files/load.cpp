// `vantry load`: saved values back to the hub, in one message.
//
// Only what differs is sent, and only to properties that the hub has. What can't or shouldn't be
// set is left out and reported: read-only properties, those whose owner is gone, and commands,
// which a write would run. A bool without a description may be a command, so it is set only if it
// is named.

#include <fmt/core.h>

#include <algorithm>
#include <utility>

#include "cli/base/command_line.h"
#include "cli/base/json.h"
#include "cli/base/text.h"
#include "cli/files/saved_values.h"
#include "cli/select/catalog.h"
#include "cli/select/property_names.h"
#include "cli/values/assign_report.h"

namespace vantry::cli {
namespace {

using client::Property;
using client::ValueType;

struct LoadOptions {
    std::string file;
    std::vector<std::string> words;
    bool dryRun = false;
};

/// A saved value that differs from that of the hub.
struct Step {
    Property now;
    std::string value;
    /// Why it is left out; empty if it isn't.
    std::string leftOut;
};

bool LooksLikeBool(const std::string& value) { return value == "True" || value == "False"; }

/// Returns why the saved value isn't sent, or an empty text.
std::string ReasonToLeaveOut(const Catalog& catalog, const Property& now, const std::string& value,
                             bool isNamed) {
    const describe::Description description = catalog.DescriptionOf(now);
    const client::Owners::State owner = catalog.OwnerOf(now);
    if (description.writable == false) {
        return "it is read-only";
    }
    if (owner.presence == client::Owners::Presence::Gone) {
        return "its owner is gone: " + owner.why;
    }
    if (description.type == ValueType::Command) {
        return "it is a command";
    }
    if (!description.type && LooksLikeBool(value) && !isNamed) {
        return "it may be a command; name it to load it";
    }
    const auto fits = describe::Fit(description, catalog.NameOf(now), value);
    return fits ? "" : fits.error().text;
}

client::Result<std::vector<Step>> Plan(const Catalog& catalog, const std::vector<Property>& saved,
                                       const LoadOptions& options) {
    const auto chosen = SelectByName(saved, options.words);
    if (!chosen) {
        return chosen.error();
    }
    std::vector<Step> steps;
    for (const Property& property : *chosen) {
        const auto now =
            std::find_if(catalog.All().begin(), catalog.All().end(),
                         [&](const Property& other) { return other.id == property.id; });
        if (now == catalog.All().end()) {
            steps.push_back({property, property.value, "the hub doesn't have it"});
        } else if (now->value != property.value) {
            steps.push_back(
                {*now, property.value,
                 ReasonToLeaveOut(catalog, *now, property.value, !options.words.empty())});
        }
    }
    return steps;
}

void PrintPlan(const Context& context, const Catalog& catalog, const std::vector<Step>& steps) {
    Json array = Json::array();
    for (const Step& step : steps) {
        if (context.json) {
            Json object = JsonOf(step.now);
            object["wanted"] = step.value;
            object["leftOut"] = step.leftOut.empty() ? Json() : Json(step.leftOut);
            array.push_back(object);
        } else if (step.leftOut.empty()) {
            fmt::print("{}: {} -> {}\n", catalog.NameOf(step.now), Printable(step.now.value),
                       Printable(step.value));
        } else {
            fmt::print("{} is left out: {}\n", catalog.NameOf(step.now), Printable(step.leftOut));
        }
    }
    if (context.json) {
        fmt::print("{}\n", LineByLine(array));
    }
}

int RunLoad(const Context& context, const LoadOptions& options) {
    if (const client::Outcome may = context.MayWrite(); !may && !options.dryRun) {
        return Fail(may.error());
    }
    const auto saved = ReadSavedValues(options.file);
    if (!saved) {
        return Fail(saved.error());
    }
    auto catalog = Catalog::Read(context);
    if (!catalog) {
        return Fail(catalog.error());
    }
    const auto steps = Plan(*catalog, *saved, options);
    if (!steps) {
        return Fail(steps.error());
    }
    if (options.dryRun || !context.json) {
        PrintPlan(context, *catalog, *steps);
    }
    std::vector<Assignment> assignments;
    for (const Step& step : *steps) {
        if (step.leftOut.empty()) {
            assignments.push_back({step.now, step.value});
        }
    }
    if (options.dryRun) {
        return Exit::kDone;
    }
    if (!context.json) {
        fmt::print("{} of {} saved values differ and are set\n", assignments.size(), saved->size());
    }
    return assignments.empty() && !context.json ? Exit::kDone
                                                : AssignAndReport(context, *catalog, assignments);
}

}  // namespace

void AddLoad(CommandLine& line) {
    const auto options = std::make_shared<LoadOptions>();
    line.Add({.name = "load",
              .summary = "set the properties to saved values",
              .group = CommandGroup::kWriting,
              .examples = "  vantry load before.json --dry-run\n"
                          "  vantry load before.json General\n",
              .topics = "scripts"},
             [options](const Context& context) { return RunLoad(context, *options); })
        .Text("file", options->file, "a file of \"vantry save\"; - is standard input",
              CommandOptions::Need::kRequired)
        .Texts("property", options->words, "names, globs or groups (default: everything)")
        .Flag("--dry-run", options->dryRun, "only print what would be set");
}

}  // namespace vantry::cli
