// `vantry describe`: all that is known of properties: their state, what the files of descriptions
// say, and what the heartbeat of its owner says.

#include <fmt/core.h>

#include "cli/base/command_line.h"
#include "cli/base/terminal.h"
#include "cli/base/text.h"
#include "cli/select/catalog.h"
#include "cli/values/columns.h"

namespace vantry::cli {
namespace {

using client::Property;
using client::ValueType;

/// Returns a value that the property accepts, for an example.
std::string ExampleValue(const describe::Description& description, const Property& property) {
    if (description.type == ValueType::Bool || description.type == ValueType::Command) {
        return "True";
    }
    return description.words.empty() ? property.value : description.words.front();
}

std::string HowToSet(const Catalog& catalog, const describe::Description& description,
                     const Property& property) {
    if (description.writable == false) {
        return "it is read-only";
    }
    return "vantry set " + ShellQuoted(catalog.NameOf(property)) + " " +
           ShellQuoted(ExampleValue(description, property));
}

std::string RightsText(const describe::Description& description) {
    return !description.writable ? "unknown" : *description.writable ? "read, write" : "read";
}

std::string OwnerText(const client::Owners::State& owner) {
    return std::string(client::NameOf(owner.presence)) +
           (owner.why.empty() ? "" : ": " + owner.why);
}

void PrintLine(const char* title, const std::string& text) {
    if (!text.empty()) {
        fmt::print("  {:<9}  {}\n", title, Printable(text));
    }
}

void PrintText(const Catalog& catalog, const Property& property, const Style& style) {
    const describe::Description description = catalog.DescriptionOf(property);
    const std::string unit = description.unit.empty() ? "" : " " + description.unit;
    fmt::print("{}\n", style.Heading(catalog.NameOf(property)));
    PrintLine("what", description.text);
    PrintLine("value", property.value + unit);
    PrintLine("age", catalog.AgeOf(property));
    PrintLine("type", description.type ? describe::NameOf(*description.type) : "unknown");
    PrintLine("allowed", AllowedValues(description));
    PrintLine("rights", RightsText(description));
    PrintLine("component", property.componentName);
    PrintLine("owner", OwnerText(catalog.OwnerOf(property)));
    PrintLine("group", property.groupName);
    PrintLine("guids",
              property.id.component + ":" + property.id.group + ":" + property.id.property);
    PrintLine("to set it", HowToSet(catalog, description, property));
}

template <typename Value>
Json OrNull(const std::optional<Value>& value) {
    return value ? Json(*value) : Json();
}

Json ToJson(const Catalog& catalog, const Property& property) {
    const describe::Description description = catalog.DescriptionOf(property);
    Json object = JsonWithKnowledge(catalog, property);
    object["text"] = description.text.empty() ? Json() : Json(description.text);
    object["minimum"] = OrNull(description.minimum);
    object["maximum"] = OrNull(description.maximum);
    object["step"] = OrNull(description.step);
    object["words"] = description.words;
    object["writable"] = OrNull(description.writable);
    return object;
}

int RunDescribe(const Context& context, const std::vector<std::string>& words) {
    const auto catalog = Catalog::Read(context);
    if (!catalog) {
        return Fail(catalog.error());
    }
    const auto selected = catalog->Select(words);
    if (!selected) {
        return Fail(selected.error());
    }
    Json array = Json::array();
    for (const Property& property : *selected) {
        if (context.json) {
            array.push_back(ToJson(*catalog, property));
        } else {
            fmt::print("{}", &property == &selected->front() ? "" : "\n");
            PrintText(*catalog, property, Style(context.Fancy()));
        }
    }
    if (context.json) {
        fmt::print("{}\n", LineByLine(array));
    }
    return Exit::kDone;
}

}  // namespace

void AddDescribe(CommandLine& line) {
    const auto words = std::make_shared<std::vector<std::string>>();
    line.Add({.name = "describe",
              .summary = "all that is known of a property",
              .group = CommandGroup::kReading,
              .examples = "  vantry describe \"Property Publishing Period in ms\"\n",
              .topics = "names faults"},
             [words](const Context& context) { return RunDescribe(context, *words); })
        .Texts("property", *words, "a name, a glob or a group", CommandOptions::Need::kRequired)
        .OnSeveral([] {
            return SeveralOutput::Rows({{"name", "/shortName"},
                                        {"value", "/value"},
                                        {"unit", "/unit"},
                                        {"type", "/type"},
                                        {"owner", "/owner"},
                                        {"age", "/ageSeconds"}});
        });
}

}  // namespace vantry::cli
