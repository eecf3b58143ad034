// What a command knows of a hub: all its properties as read once, what the heartbeats say about
// their owners, and the descriptions. These are loaded when the first one is asked for, because
// most commands need none and reading the files would cost them milliseconds.

#include "cli/select/catalog.h"

#include <fmt/core.h>

#include <utility>

#include "cli/base/text.h"
#include "cli/select/property_names.h"

namespace vantry::cli {

using client::Property;

client::Result<Catalog> Catalog::Read(const Context& context) {
    auto seen = context.ConnectAndReadAll();
    if (!seen) {
        return seen.error();
    }
    return Catalog(context, std::move(*seen));
}

Catalog::Catalog(const Context& itsContext, Snapshot seen)
    : context(itsContext), snapshot(std::move(seen)), names(snapshot.properties) {}

client::Error Catalog::Explained(const client::Error& error) const {
    const std::string link = context.OutsideLink();
    if (link.empty()) {
        return error;
    }
    return {error.code, error.text + "\n    (over " + link +
                            " the hub shows a part of its properties only; "
                            "its local device shows all)"};
}

client::Result<std::vector<Property>> Catalog::Select(const std::vector<std::string>& words) const {
    auto selected = SelectByName(All(), words);
    if (!selected) {
        return Explained(selected.error());
    }
    return selected;
}

client::Result<Property> Catalog::Find(const std::string& name) const {
    auto found = FindByName(All(), name);
    if (!found) {
        return Explained(found.error());
    }
    return found;
}

client::Owners::State Catalog::OwnerOf(const Property& property) const {
    if (property.id.component == client::Hub::OwnComponent()) {
        return {client::Owners::Presence::Alive, "the hub itself", 0, ""};
    }
    return snapshot.owners.Of(property.id);
}

std::map<std::string, std::string> Catalog::GoneOwners(
    const std::vector<Property>& properties) const {
    std::map<std::string, std::string> gone;
    for (const Property& property : properties) {
        if (const auto owner = OwnerOf(property);
            owner.presence == client::Owners::Presence::Gone) {
            gone[Printable(property.componentName)] = owner.why;
        }
    }
    return gone;
}

void Catalog::PrintGoneOwners(const std::vector<Property>& properties) const {
    for (const auto& [component, why] : GoneOwners(properties)) {
        fmt::print(stderr, "vantry: {} is gone, its values are old: {}\n", component, why);
    }
}

std::string Catalog::AgeOf(const Property& property) const {
    const auto age = snapshot.owners.AgeOf(property.id);
    return age ? age->Text() : "";
}

describe::Description Catalog::DescriptionOf(const Property& property) const {
    if (!descriptions) {
        auto loaded = describe::Descriptions::Load(describe::Descriptions::StandardFolders());
        for (const std::string& problem : loaded.problems) {
            fmt::print(stderr, "vantry: {}\n", problem);
        }
        descriptions = std::move(loaded.descriptions);
    }
    return descriptions->Of(property);
}

}  // namespace vantry::cli
