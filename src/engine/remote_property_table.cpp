#include "engine/remote_property_table.h"

#include <algorithm>
#include <iterator>

namespace vantry {
namespace {

std::string GroupKey(std::string_view groupGuid) { return FullKey("", groupGuid, ""); }

}  // namespace

std::shared_ptr<RemoteProperty> RemotePropertyTable::Find(std::string_view guid,
                                                          std::string_view groupGuid,
                                                          std::string_view component) const {
    const std::string key = FullKey(component, groupGuid, guid);
    ScopedLock guard(lock);
    const auto found = entries.find(key);
    return found == entries.end() ? nullptr : found->second;
}

bool RemotePropertyTable::Insert(const std::shared_ptr<RemoteProperty>& property) {
    std::string key = property->Key();
    std::string groupKey = GroupKey(property->GroupGuid());
    ScopedLock guard(lock);
    if (entries.contains(key)) {
        return false;
    }
    entries.emplace(std::move(key), property);
    entries.emplace(std::move(groupKey), property);
    return true;
}

void RemotePropertyTable::Erase(const std::string& fullKey) {
    ScopedLock guard(lock);
    const auto entry = entries.find(fullKey);
    if (entry == entries.end()) {
        return;
    }
    const std::shared_ptr<RemoteProperty> property = entry->second;
    entries.erase(entry);
    const auto [first, last] = entries.equal_range(GroupKey(property->GroupGuid()));
    const auto member = std::find_if(
        first, last, [&](const auto& candidate) { return candidate.second == property; });
    if (member != last) {
        entries.erase(member);
    }
}

void RemotePropertyTable::ListGroup(std::deque<std::shared_ptr<RemoteProperty>>& list,
                                    std::string_view groupGuid) const {
    const std::string key = GroupKey(groupGuid);
    ScopedLock guard(lock);
    const auto [first, last] = entries.equal_range(key);
    std::transform(first, last, std::back_inserter(list),
                   [](const auto& entry) { return entry.second; });
}

void RemotePropertyTable::ListProperties(std::deque<std::shared_ptr<RemoteProperty>>& list) const {
    ScopedLock guard(lock);
    for (const auto& [key, property] : entries) {
        if (!key.ends_with(':')) {
            list.push_back(property);
        }
    }
}

}  // namespace vantry
