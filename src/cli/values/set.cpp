// `vantry set`: one value, or several in one message.
//
// All properties are read first, because only the hub knows which property a name refers to. Over
// the links of outsiders the command is refused without asking the hub, which would ignore the
// write without a word. A
// value that the description of a property rules out isn't sent, because many owners ignore such a
// value without a word, too. A property without a description whose value is "True" or "False"
// counts as a bool, because its owner would take every other word for "True".

#include <fmt/core.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <limits>
#include <utility>

#include "cli/base/command_line.h"
#include "cli/select/catalog.h"
#include "cli/values/assign.h"
#include "cli/values/assign_report.h"
#include "client/records.h"

namespace vantry::cli {
namespace {

using client::Property;

struct SetOptions {
    std::vector<std::string> words;
    /// The file with the value, or "-".
    std::string from;
    /// Doesn't wait until the new value is seen or the time-out passes.
    bool noWait = false;
    /// Sends the value although the description of the property rules it out.
    bool force = false;
};

struct NameAndValue {
    std::string name;
    std::string value;
};

/// Returns the content of the file, or of standard input, without the line feed at its end.
client::Result<std::string> ReadValue(const std::string& name) {
    std::ifstream file;
    if (name != "-") {
        file.open(name, std::ios::binary);
    }
    if (!file) {
        return client::Error{client::ErrorCode::Refused, name + ": " + std::strerror(errno)};
    }
    std::istream& input = name == "-" ? std::cin : file;
    std::string value(std::istreambuf_iterator<char>(input), {});
    if (!value.empty() && value.back() == '\n') {
        value.pop_back();
    }
    return value;
}

bool IsProperty(const Catalog& catalog, const std::string& name) {
    return static_cast<bool>(catalog.Find(name));
}

/// Splits NAME=VALUE at the first = before which stands the name of a property, or else at the
/// first one.
NameAndValue Split(const Catalog& catalog, const std::string& word) {
    for (std::size_t at = word.find('='); at != std::string::npos; at = word.find('=', at + 1)) {
        if (IsProperty(catalog, word.substr(0, at))) {
            return {word.substr(0, at), word.substr(at + 1)};
        }
    }
    const std::size_t first = word.find('=');
    return {word.substr(0, first), word.substr(first + 1)};
}

client::Result<std::vector<NameAndValue>> ParseWords(const Catalog& catalog,
                                                     const std::vector<std::string>& words) {
    const auto hasEquals = [](const std::string& word) {
        return word.find('=') != std::string::npos;
    };
    if (words.size() == 2 && (!hasEquals(words[0]) || IsProperty(catalog, words[0]))) {
        return std::vector<NameAndValue>{{words[0], words[1]}};
    }
    std::vector<NameAndValue> parsed;
    for (const std::string& word : words) {
        if (!hasEquals(word)) {
            return client::Error{
                client::ErrorCode::Refused,
                words.size() == 1
                    ? "\"" + word + "\" needs a value: vantry set NAME VALUE, or NAME=VALUE"
                    : "\"" + word + "\" is no NAME=VALUE; names with blanks go in quotes: vantry " +
                          "set \"Print Speed\" 8"};
        }
        parsed.push_back(Split(catalog, word));
    }
    return parsed;
}

/// Returns the value to send for what was typed, or why it can't be meant.
client::Result<std::string> ValueFor(const Catalog& catalog, const Property& property,
                                     const std::string& typed, bool force) {
    if (force) {
        return typed;
    }
    describe::Description description = catalog.DescriptionOf(property);
    if (!description.type && (property.value == "True" || property.value == "False")) {
        description.type = client::ValueType::Bool;
    } else if (!description.type && property.id.component == client::Hub::OwnComponent() &&
               client::IsValue(client::ValueType::Number, property.value)) {
        // The hub takes -5 for the number 4294967291.
        description.type = client::ValueType::Number;
        description.minimum = 0;
        description.maximum = std::numeric_limits<std::uint32_t>::max();
        description.step = 1;
    }
    auto value = describe::Fit(description, catalog.NameOf(property), typed);
    if (!value) {
        return client::Error{value.error().code,
                             value.error().text + "; --force sends it nevertheless"};
    }
    return value;
}

client::Result<std::vector<Assignment>> AssignmentsFor(const Catalog& catalog,
                                                       const std::vector<NameAndValue>& parsed,
                                                       bool force) {
    std::vector<Assignment> assignments;
    for (const auto& [name, typed] : parsed) {
        const auto property = catalog.Find(name);
        if (!property) {
            return property.error();
        }
        const client::Owners::State owner = catalog.OwnerOf(*property);
        if (owner.presence == client::Owners::Presence::Gone && !force) {
            return client::Error{client::ErrorCode::Refused,
                                 "the owner of \"" + catalog.NameOf(*property) + "\" (" +
                                     property->componentName + ") is gone: " + owner.why +
                                     "; start it again, or send the value with --force"};
        }
        const auto value = ValueFor(catalog, *property, typed, force);
        if (!value) {
            return value.error();
        }
        assignments.push_back({*property, *value});
    }
    return assignments;
}

int Send(client::Hub& hub, const std::vector<Assignment>& assignments) {
    std::vector<client::PropertyWrite> writes;
    writes.reserve(assignments.size());
    for (const Assignment& assignment : assignments) {
        writes.push_back({assignment.before.id, assignment.value});
    }
    const client::Outcome sent = hub.Write(writes);
    return sent ? Exit::kDone : Fail(sent.error());
}

int RunSet(const Context& context, const SetOptions& options) {
    if (const client::Outcome may = context.MayWrite(); !may) {
        return Fail(may.error());
    }
    std::vector<std::string> words = options.words;
    if (options.from == "-" && !context.several.empty()) {
        return FailUsage("standard input has one value for one printer; --on can't take it");
    }
    if (!options.from.empty()) {
        const auto value = ReadValue(options.from);
        if (!value) {
            return Fail(value.error());
        }
        if (words.size() != 1) {
            return FailUsage("--from takes the value of one property: vantry set NAME --from FILE");
        }
        words.push_back(*value);
    }
    auto catalog = Catalog::Read(context);
    if (!catalog) {
        return Fail(catalog.error());
    }
    const auto parsed = options.from.empty()
                            ? ParseWords(*catalog, words)
                            : client::Result<std::vector<NameAndValue>>({{words[0], words[1]}});
    if (!parsed) {
        return FailUsage(parsed.error().text);
    }
    const auto assignments = AssignmentsFor(*catalog, *parsed, options.force);
    if (!assignments) {
        return Fail(assignments.error());
    }
    if (options.noWait) {
        return Send(catalog->Hub(), *assignments);
    }
    return AssignAndReport(context, *catalog, *assignments);
}

}  // namespace

void AddSet(CommandLine& line) {
    const auto options = std::make_shared<SetOptions>();
    line.Add({.name = "set",
              .summary = "set properties",
              .group = CommandGroup::kWriting,
              .examples = "  vantry set \"Print Speed\" 8\n"
                          "  vantry set \"Print Speed=8\" \"Fan On=yes\"\n"
                          "  vantry set Label --from label.zpl\n"
                          "  date | vantry set Note --from -\n",
              .topics = "names scripts"},
             [options](const Context& context) { return RunSet(context, *options); })
        .Texts("property", options->words, "NAME VALUE, or NAME=VALUE for several in one message",
               CommandOptions::Need::kRequired)
        .Text("--from", options->from, "take the value from this file, - is standard input")
        .Flag("--no-wait", options->noWait, "don't wait until the values are seen")
        .Flag("--force", options->force, "send what the description of the property rules out")
        .OnSeveral([] {
            return SeveralOutput::Rows({{"result", "/text"}});
        });
}

}  // namespace vantry::cli
