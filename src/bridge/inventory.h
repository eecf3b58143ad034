#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "bridge/change.h"
#include "describe/descriptions.h"

namespace vantry::bridge {

/// The properties of one hub that are published, with their values. Used by one thread.
class Inventory {
public:
    /// The least change of the numbers whose key matches the glob; a smaller one isn't published.
    struct Deadband {
        std::string glob;
        double width;
    };

    struct Entry {
        std::shared_ptr<const Subject> subject;
        std::string value;
        std::int64_t time;
        /// The number that was published last, if there is a deadband.
        std::optional<double> published;
    };

    /// Publishes the groups that peers from outside the printer see or, with `allGroups`, all.
    /// `descriptions` must live as long as this object.
    Inventory(const describe::Descriptions& descriptions, bool allGroups,
              std::vector<Deadband> deadbands);

    /// Enters the state of a property. Returns the change to publish, or nothing if the property
    /// isn't published or has changed too little.
    std::optional<Change> Enter(const client::Property& property, std::int64_t time);
    /// Returns the subject with this key, or null.
    std::shared_ptr<const Subject> Find(const std::string& key) const;
    std::shared_ptr<const Subject> Find(const client::PropertyId& id) const;
    /// Returns all properties in the order of their identities.
    const std::map<client::PropertyId, Entry>& All() const { return entries; }

private:
    bool IsPublished(const client::PropertyId& id) const;
    Entry& Add(const client::Property& property);
    double DeadbandOf(const std::string& key) const;

    const describe::Descriptions& descriptions;
    const bool allGroups;
    const std::vector<Deadband> deadbands;
    std::map<client::PropertyId, Entry> entries;
    std::map<std::string, std::shared_ptr<const Subject>> byKey;
    std::uint64_t lastAlias = 0;
};

}  // namespace vantry::bridge
