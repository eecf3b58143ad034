// `vantry get` and `vantry set`.
//
// Both read all properties first, because only the hub knows which property a name refers to. Over
// TCP `set` is refused without asking the hub, which would ignore the write without a word. A value
// that the description of a property rules out isn't sent, because many owners ignore such a value
// without a word, too.

#include <fmt/core.h>

#include "cli/base/command_line.h"
#include "cli/base/text.h"
#include "cli/select/property_names.h"
#include "describe/descriptions.h"

namespace vantry::cli {
namespace {

using client::Property;

void PrintValues(const std::vector<Property>& properties, bool json) {
    if (!json) {
        for (const Property& property : properties) {
            if (properties.size() == 1) {
                fmt::print("{}\n", Printable(property.value));
            } else {
                fmt::print("{}: {}\n", DisplayName(property, false), Printable(property.value));
            }
        }
        return;
    }
    if (properties.size() == 1) {
        fmt::print("{}\n", ToJson(properties.front()));
        return;
    }
    for (std::size_t place = 0; place < properties.size(); ++place) {
        fmt::print("{}{}", place == 0 ? "[\n" : ",\n", ToJson(properties[place]));
    }
    fmt::print("\n]\n");
}

/// What the arguments of `get` and `set` are.
constexpr const char* kPropertyHelp = "a name, Group/Name, or GROUP-GUID:GUID";

struct SetOptions {
    std::string name;
    std::string value;
    /// Doesn't wait until the new value is seen or the time-out passes.
    bool noWait = false;
    /// Sends the value although the description of the property rules it out.
    bool force = false;
};

/// Returns the value to send for what was typed, or why the description of the property rules it
/// out. Prints which descriptions can't be read.
client::Result<std::string> Described(const Property& property, const std::string& typed) {
    const auto loaded = describe::Descriptions::Load(describe::Descriptions::StandardFolders());
    for (const std::string& problem : loaded.problems) {
        fmt::print(stderr, "vantry: {}\n", problem);
    }
    return describe::Fit(loaded.descriptions.Of(property), property.name, typed);
}

int RunGet(const Context& context, const std::vector<std::string>& names) {
    const auto seen = context.ConnectAndReadAll();
    if (!seen) {
        return Fail(seen.error());
    }
    std::vector<Property> found;
    int status = Exit::kDone;
    for (const std::string& name : names) {
        const auto property = FindByName(seen->properties, name);
        if (property) {
            found.push_back(*property);
        } else {
            status = Fail(property.error());
        }
    }
    if (!found.empty()) {
        PrintValues(found, context.json);
    }
    return status;
}

int RunSet(const Context& context, const SetOptions& options) {
    if (!context.tcp.empty()) {
        return Fail({client::ErrorCode::Refused,
                     "the hub takes no writes over TCP; use its local device (--device)"});
    }
    const auto seen = context.ConnectAndReadAll();
    if (!seen) {
        return Fail(seen.error());
    }
    const auto property = FindByName(seen->properties, options.name);
    if (!property) {
        return Fail(property.error());
    }
    const auto value = options.force ? client::Result<std::string>(options.value)
                                     : Described(*property, options.value);
    if (!value) {
        return Fail({value.error().code, value.error().text + "; --force sends it nevertheless"});
    }
    if (options.noWait) {
        const client::Outcome sent = seen->hub->Write(property->id, *value);
        return sent ? Exit::kDone : Fail(sent.error());
    }
    const auto now = seen->hub->WriteAndWait(property->id, *value);
    if (!now) {
        return Fail(now.error());
    }
    if (context.json) {
        fmt::print("{}\n", ToJson(*now));
    } else {
        fmt::print("{} is now {}\n", DisplayName(*now, false), Printable(now->value));
    }
    return Exit::kDone;
}

}  // namespace

void AddGet(CommandLine& line) {
    const auto names = std::make_shared<std::vector<std::string>>();
    line.Add({.name = "get",
              .summary = "print the value of properties",
              .group = CommandGroup::kReading,
              .examples = "  vantry get \"Print Speed\"\n"},
             [names](const Context& context) { return RunGet(context, *names); })
        .Texts("property", *names, kPropertyHelp, CommandOptions::Need::kRequired);
}

void AddSet(CommandLine& line) {
    const auto options = std::make_shared<SetOptions>();
    line.Add({.name = "set",
              .summary = "set a property",
              .group = CommandGroup::kWriting,
              .examples = "  vantry set \"Print Speed\" 8\n"},
             [options](const Context& context) { return RunSet(context, *options); })
        .Text("property", options->name, kPropertyHelp, CommandOptions::Need::kRequired)
        .Text("value", options->value, "its new value", CommandOptions::Need::kRequired)
        .Flag("--no-wait", options->noWait, "don't wait until the value is seen")
        .Flag("--force", options->force, "send what the description of the property rules out");
}

}  // namespace vantry::cli
