// The catalog as one multimap.
//
// Each property has two entries, one under its own key and one under the key of its group. The keys
// of a group sort directly before those of its members, and equal keys keep the order in which they
// were added, so listing a group is one range and listing everything skips the group keys. Removing
// one property searches the entries of its group, which is acceptable because properties of the hub
// are hardly ever removed. The set of groups has a lock of its own and isn't read by the hub.

#include "property/property_catalog.h"

#include <algorithm>
#include <utility>

namespace vantry {
namespace {

std::string GroupKey(std::string_view groupGuid) { return std::string(groupGuid) + ":"; }

bool IsGroupKey(std::string_view key) { return key.find(':') + 1 == key.size(); }

std::string CatalogKey(std::string_view groupGuid, std::string_view guid) {
    return GroupKey(groupGuid).append(guid);
}

}  // namespace

std::string PropertyCatalog::KeyOf(const Property& property) {
    return CatalogKey(property.GroupGuid(), property.Guid());
}

bool PropertyCatalog::AddProperty(std::shared_ptr<Property> property) {
    std::string key = KeyOf(*property);
    const std::string& groupGuid = property->GroupGuid();
    ScopedLock guard(entriesLock);
    if (entries.contains(key)) {
        return false;
    }
    entries.emplace(std::move(key), property);
    entries.emplace(GroupKey(groupGuid), property);
    ScopedLock groupsGuard(groupsLock);
    groups.insert(groupGuid);
    return true;
}

std::shared_ptr<Property> PropertyCatalog::FindProperty(std::string_view guid,
                                                        std::string_view groupGuid) const {
    return guid.empty() ? nullptr : FindByKey(CatalogKey(groupGuid, guid));
}

std::shared_ptr<Property> PropertyCatalog::FindByKey(std::string_view key) const {
    ScopedLock guard(entriesLock);
    const auto found = entries.find(key);
    return found == entries.end() ? nullptr : found->second;
}

void PropertyCatalog::ListProperties(std::deque<std::shared_ptr<Property>>& list) const {
    ScopedLock guard(entriesLock);
    for (const auto& [key, property] : entries) {
        if (!IsGroupKey(key)) {
            list.push_back(property);
        }
    }
}

void PropertyCatalog::ListGroup(std::deque<std::shared_ptr<Property>>& list,
                                std::string_view groupGuid) const {
    const std::string key = GroupKey(groupGuid);
    ScopedLock guard(entriesLock);
    const auto [first, last] = entries.equal_range(key);
    std::transform(first, last, std::back_inserter(list),
                   [](const auto& entry) { return entry.second; });
}

std::size_t PropertyCatalog::Size() const {
    ScopedLock guard(entriesLock);
    // Each property has an entry under its own key and one under that of its group.
    return entries.size() / 2;
}

bool PropertyCatalog::HasGroup(std::string_view groupGuid) const {
    ScopedLock guard(groupsLock);
    return groups.contains(groupGuid);
}

void PropertyCatalog::RemoveByKey(const std::string& key) {
    if (!IsGroupKey(key)) {
        ScopedLock guard(entriesLock);
        RemoveOne(key);
        return;
    }
    {
        ScopedLock guard(groupsLock);
        groups.erase(key.substr(0, key.size() - 1));
    }
    ScopedLock guard(entriesLock);
    RemoveGroup(key);
}

void PropertyCatalog::RemoveOne(const std::string& key) {
    const auto entry = entries.find(key);
    if (entry == entries.end()) {
        return;
    }
    const auto [first, last] = entries.equal_range(GroupKey(entry->second->GroupGuid()));
    const auto member = std::find_if(
        first, last, [&](const auto& candidate) { return candidate.second == entry->second; });
    if (member != last) {
        entries.erase(member);
    }
    entries.erase(entry);
}

void PropertyCatalog::RemoveGroup(const std::string& groupKey) {
    for (auto member = entries.find(groupKey); member != entries.end();
         member = entries.find(groupKey)) {
        // The first entry is erased before the other is looked up, because a property without a
        // GUID has two entries under the key of its group.
        const std::string key = KeyOf(*member->second);
        entries.erase(member);
        if (const auto own = entries.find(key); own != entries.end()) {
            entries.erase(own);
        }
    }
}

}  // namespace vantry
