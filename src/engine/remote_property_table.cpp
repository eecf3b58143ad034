#include "engine/remote_property_table.h"

#include <algorithm>
#include <iterator>

namespace vantry {

std::shared_ptr<RemoteProperty> RemotePropertyTable::Find(std::string_view guid,
                                                          std::string_view groupGuid,
                                                          std::string_view component) const {
    const std::string key = FullKey(component, groupGuid, guid);
    ScopedLock guard(lock);
    const auto found = entries.find(key);
    return found == entries.end() ? nullptr : found->second;
}

bool RemotePropertyTable::Insert(const std::shared_ptr<RemoteProperty>& property) {
    ScopedLock guard(lock);
    const bool isNew = entries.emplace(property->Key(), property).second;
    if (isNew) {
        groups.emplace(property->GroupGuid(), property);
    }
    return isNew;
}

void RemotePropertyTable::Erase(const std::string& fullKey) {
    ScopedLock guard(lock);
    const auto entry = entries.find(fullKey);
    if (entry == entries.end()) {
        return;
    }
    const auto [first, last] = groups.equal_range(entry->second->GroupGuid());
    groups.erase(std::find_if(
        first, last, [&](const auto& candidate) { return candidate.second == entry->second; }));
    entries.erase(entry);
}

std::size_t RemotePropertyTable::Size() const {
    ScopedLock guard(lock);
    return entries.size();
}

void RemotePropertyTable::ListGroup(List& list, std::string_view groupGuid) const {
    ScopedLock guard(lock);
    const auto [first, last] = groups.equal_range(groupGuid);
    std::transform(first, last, std::back_inserter(list),
                   [](const auto& entry) { return entry.second; });
}

void RemotePropertyTable::ListProperties(List& list) const {
    ScopedLock guard(lock);
    for (const auto& [key, property] : entries) {
        if (!key.ends_with(':')) {
            list.push_back(property);
        }
    }
}

void RemotePropertyTable::ListOwnedBy(List& list, const ConnectionAccount& account) const {
    ScopedLock guard(lock);
    for (const auto& [key, property] : entries) {
        if (property->owner->Account().get() == &account) {
            list.push_back(property);
        }
    }
}

}  // namespace vantry
