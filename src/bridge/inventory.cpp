// The published properties of a hub.
//
// A withdrawn property is forgotten, because components may announce new ones for ever. The change
// that reports the withdrawal keeps the subject alive until it is published.

#include "bridge/inventory.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "describe/glob.h"
#include "wire/vocabulary/groups.h"

namespace vantry::bridge {

Inventory::Inventory(const describe::Descriptions& known, bool withAllGroups,
                     std::vector<Deadband> bands)
    : descriptions(known), allGroups(withAllGroups), deadbands(std::move(bands)) {}

bool Inventory::IsPublished(const client::PropertyId& id) const {
    // The groups of single jobs have names that are made of this word and a number.
    constexpr const char* kJobGroup = "Job ";
    return allGroups || id.group.find(kJobGroup) != std::string::npos ||
           std::any_of(Groups::kExternal.begin(), Groups::kExternal.end(),
                       [&](const NamedGuid& group) { return group.guid == id.group; });
}

double Inventory::DeadbandOf(const std::string& key) const {
    const auto found = std::find_if(deadbands.begin(), deadbands.end(), [&](const Deadband& band) {
        return describe::GlobMatches(band.glob, key, describe::LetterCase::Exact);
    });
    return found == deadbands.end() ? 0 : found->width;
}

Inventory::Entry& Inventory::Add(const client::Property& property) {
    Subject subject{property.id,
                    property.componentName,
                    property.groupName,
                    property.name,
                    property.componentName + "/" + property.groupName + "/" + property.name,
                    descriptions.Of(property),
                    ++lastAlias};
    if (byKey.contains(subject.key)) {
        subject.key = property.id.component + ":" + property.id.group + ":" + property.id.property;
    }
    auto shared = std::make_shared<const Subject>(std::move(subject));
    byKey[shared->key] = shared;
    return entries.emplace(property.id, Entry{std::move(shared), {}, 0, {}}).first->second;
}

std::optional<Change> Inventory::Enter(const client::Property& property, std::int64_t time) {
    const auto found = entries.find(property.id);
    if (!property.available) {
        if (found == entries.end()) {
            return std::nullopt;
        }
        const std::shared_ptr<const Subject> gone = found->second.subject;
        entries.erase(found);
        byKey.erase(gone->key);
        return Change{gone, property.value, false, time};
    }
    if (!IsPublished(property.id)) {
        return std::nullopt;
    }
    const bool isNew = found == entries.end();
    Entry& entry = isNew ? Add(property) : found->second;
    if (!isNew && entry.value == property.value) {
        return std::nullopt;
    }
    entry.value = property.value;
    entry.time = time;
    if (const double width = DeadbandOf(entry.subject->key); width > 0) {
        const std::optional<double> number = describe::NumberIn(property.value);
        if (number && entry.published && std::abs(*number - *entry.published) < width) {
            return std::nullopt;
        }
        entry.published = number;
    }
    return Change{entry.subject, property.value, true, time};
}

std::shared_ptr<const Subject> Inventory::Find(const std::string& key) const {
    const auto found = byKey.find(key);
    return found == byKey.end() ? nullptr : found->second;
}

std::shared_ptr<const Subject> Inventory::Find(const client::PropertyId& id) const {
    const auto found = entries.find(id);
    return found == entries.end() ? nullptr : found->second.subject;
}

}  // namespace vantry::bridge
