// `vantry get`: the values of properties, all read with one request, because only the hub knows
// which properties a name or a glob refers to.

#include <fmt/core.h>

#include "cli/base/command_line.h"
#include "cli/base/json.h"
#include "cli/base/text.h"
#include "cli/select/catalog.h"
#include "cli/select/property_names.h"

namespace vantry::cli {
namespace {

using client::Property;

void PrintValues(const Catalog& catalog, const std::vector<Property>& properties, bool withNames) {
    for (const Property& property : properties) {
        if (withNames) {
            fmt::print("{}: ", catalog.NameOf(property));
        }
        fmt::print("{}\n", Printable(property.value));
    }
}

int RunGet(const Context& context, const std::vector<std::string>& words) {
    const auto catalog = Catalog::Read(context);
    if (!catalog) {
        return Fail(catalog.error());
    }
    std::vector<Property> found;
    int status = Exit::kDone;
    for (const std::string& word : words) {
        const auto selected = catalog->Select({word});
        if (selected) {
            found.insert(found.end(), selected->begin(), selected->end());
        } else {
            status = Fail(selected.error());
        }
    }
    if (context.json) {
        Json array = Json::array();
        for (const Property& property : found) {
            array.push_back(JsonOf(property));
        }
        fmt::print("{}\n", LineByLine(array));
    } else {
        catalog->PrintGoneOwners(found);
        PrintValues(*catalog, found, found.size() > 1 || words.size() > 1 || IsGlob(words.front()));
    }
    return status;
}

}  // namespace

void AddGet(CommandLine& line) {
    const auto words = std::make_shared<std::vector<std::string>>();
    line.Add({.name = "get",
              .summary = "print the value of properties",
              .group = CommandGroup::kReading,
              .examples = "  vantry get \"Print Speed\"\n"
                          "  vantry get 'Sensors/*'\n"
                          "  speed=$(vantry get \"Print Speed\")\n",
              .topics = "names"},
             [words](const Context& context) { return RunGet(context, *words); })
        .Texts("property", *words, "a name, a glob or a group", CommandOptions::Need::kRequired)
        .OnSeveral([] {
            return SeveralOutput::Rows({{"name", "/name"}, {"value", "/value"}});
        });
}

}  // namespace vantry::cli
