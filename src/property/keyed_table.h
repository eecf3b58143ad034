#pragma once

#include <algorithm>
#include <cstddef>
#include <deque>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "wire/key/property_key.h"

namespace vantry {

/// Properties that are found by a key of their own and listed by group.
///
/// Each property has two entries in one multimap, one under its own key and one under the key of
/// its group (see GroupKey). The table shares ownership of the properties. Equal keys keep the
/// order in which they were added, and listing everything skips the group keys. Erasing a property
/// searches the entries of its group. Not thread-safe: the owner of a table guards it with a lock.
template <typename T>
class KeyedTable {
public:
    using List = std::deque<std::shared_ptr<T>>;

    /// Adds a property. Returns false, with nothing changed, if there is an entry with this key.
    [[nodiscard]] bool Insert(std::string key, std::string groupKey,
                              const std::shared_ptr<T>& property) {
        if (entries.contains(key)) {
            return false;
        }
        entries.emplace(std::move(key), property);
        entries.emplace(std::move(groupKey), property);
        return true;
    }
    /// Returns the property with this key, or null. The key of a group finds its first member.
    std::shared_ptr<T> Find(std::string_view key) const {
        const auto found = entries.find(key);
        return found == entries.end() ? nullptr : found->second;
    }
    /// Removes the property with this key, whose group has the key `groupKey`. Does nothing if
    /// there is none.
    void Erase(std::string_view key, std::string_view groupKey) {
        const auto own = entries.find(key);
        if (own == entries.end()) {
            return;
        }
        auto [member, last] = entries.equal_range(groupKey);
        while (member != last && (member == own || member->second != own->second)) {
            ++member;
        }
        if (member != last) {
            entries.erase(member);
        }
        entries.erase(own);
    }
    /// Removes all members of a group. `keyOf` returns the own key of a property.
    template <typename KeyOf>
    void EraseGroup(std::string_view groupKey, const KeyOf& keyOf) {
        for (auto member = entries.find(groupKey); member != entries.end();
             member = entries.find(groupKey)) {
            // The first entry is erased before the other is looked up, because a property without a
            // GUID has two entries under the key of its group.
            const std::string key = keyOf(*member->second);
            entries.erase(member);
            if (const auto own = entries.find(key); own != entries.end()) {
                entries.erase(own);
            }
        }
    }
    /// Returns the number of properties.
    std::size_t Size() const { return entries.size() / 2; }
    /// Appends the members of a group, in the order in which they were added.
    void ListGroup(List& list, std::string_view groupKey) const {
        const auto [first, last] = entries.equal_range(groupKey);
        std::transform(first, last, std::back_inserter(list),
                       [](const auto& entry) { return entry.second; });
    }
    /// Appends every property once, in the order of the bytes of their keys.
    void ListAll(List& list) const {
        ListIf(list, [](std::string_view, const T&) { return true; });
    }
    /// Does the same for those properties for which `isWanted` returns true, which is called with
    /// the own key and the property.
    template <typename Predicate>
    void ListIf(List& list, const Predicate& isWanted) const {
        for (const auto& [key, property] : entries) {
            if (!IsGroupKey(key) && isWanted(key, *property)) {
                list.push_back(property);
            }
        }
    }

private:
    std::multimap<std::string, std::shared_ptr<T>, std::less<>> entries;
};

}  // namespace vantry
