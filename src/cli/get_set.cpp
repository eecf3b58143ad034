// `vantry get` and `vantry set`.
//
// Both read all properties first, because only the hub knows which property a name refers to. Over
// TCP `set` is refused without asking the hub, which would ignore the write without a word.

#include <fmt/core.h>

#include "cli/commands.h"
#include "cli/property_names.h"
#include "cli/text.h"

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

}  // namespace

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

int RunSet(const Context& context, const std::string& name, const std::string& value, bool noWait) {
    if (!context.tcp.empty()) {
        return Fail({client::ErrorCode::Refused,
                     "the hub takes no writes over TCP; use its local device (--device)"});
    }
    const auto seen = context.ConnectAndReadAll();
    if (!seen) {
        return Fail(seen.error());
    }
    const auto property = FindByName(seen->properties, name);
    if (!property) {
        return Fail(property.error());
    }
    if (noWait) {
        const client::Outcome sent = seen->hub->Write(property->id, value);
        return sent ? Exit::kDone : Fail(sent.error());
    }
    const auto now = seen->hub->WriteAndWait(property->id, value);
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

}  // namespace vantry::cli
