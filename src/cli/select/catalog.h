#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cli/base/context.h"
#include "cli/select/names.h"
#include "describe/descriptions.h"

namespace vantry::cli {

/// A connection, the properties that the hub showed over it when it was made, and what is known of
/// them. Only one thread may use it.
class Catalog {
public:
    /// Connects and reads all properties. Blocks up to the time-out for each of the two. The
    /// context must outlive the catalog.
    static client::Result<Catalog> Read(const Context& context);
    Catalog(const Context& itsContext, Snapshot seen);

    client::Hub& Hub() { return *snapshot.hub; }
    const std::vector<client::Property>& All() const { return snapshot.properties; }
    /// Returns what the words select, see SelectByName and FindByName. Over a link of outsiders the
    /// error says that the hub shows a part of the properties only.
    client::Result<std::vector<client::Property>> Select(
        const std::vector<std::string>& words) const;
    /// Returns the property of this name, see FindByName; the error is that of Select.
    client::Result<client::Property> Find(const std::string& name) const;
    /// Returns the name under which the property is shown, see Names.
    std::string NameOf(const client::Property& property) const { return names.Of(property); }
    Names& ShownNames() { return names; }
    /// Returns what is known of the owner of the property. The hub itself owns its properties.
    client::Owners::State OwnerOf(const client::Property& property) const;
    /// Returns why the owners of these properties are gone, by the names of their components.
    std::map<std::string, std::string> GoneOwners(
        const std::vector<client::Property>& properties) const;
    /// Prints to standard error whose owners are gone, so that nobody takes their values for new.
    void PrintGoneOwners(const std::vector<client::Property>& properties) const;
    /// Returns the age of the value as text, such as "12 s", or "> 0 s" if no owner reports it.
    std::string AgeOf(const client::Property& property) const;
    /// Returns what is known of all owners; what a subscription reports may be added.
    client::Owners& Owners() { return snapshot.owners; }
    const client::Owners& Owners() const { return snapshot.owners; }
    /// Returns the description of the property. The first call reads the files, and prints to
    /// standard error which of them can't be read.
    describe::Description DescriptionOf(const client::Property& property) const;

private:
    client::Error Explained(const client::Error& error) const;

    const Context& context;
    Snapshot snapshot;
    Names names;
    mutable std::optional<describe::Descriptions> descriptions;
};

}  // namespace vantry::cli
