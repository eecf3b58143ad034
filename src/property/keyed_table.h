#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "runtime/random_bits.h"
#include "wire/key/keyed_hash.h"
#include "wire/key/property_key.h"

namespace vantry {

/// Properties that are found by a key of their own and listed by group.
///
/// The table shares ownership of the properties. Finding one compares its key with one or two
/// others, however many begin alike. Adding and erasing one takes a time that grows with the
/// logarithm of their number, however large its group is: whoever adds thousands to one group must
/// not make the next removal expensive. Now and then adding one takes a step for each property. Not
/// thread-safe: the owner of a table guards it with a lock.
///
/// Peers choose the keys, so they are hashed with a secret of the table.
template <typename T>
class KeyedTable {
public:
    using List = std::deque<std::shared_ptr<T>>;

    /// Adds a property. Returns false, with nothing changed, if there is a property or a group with
    /// this key.
    [[nodiscard]] bool Insert(std::string key, std::string groupKey,
                              const std::shared_ptr<T>& property) {
        const std::uint64_t hash = hashOf(key);
        if (Lookup(key, hash) != nullptr || groups.contains(key)) {
            return false;
        }
        const std::uint64_t place = nextPlace++;
        groups[std::move(groupKey)].emplace(place, property);
        const auto own = entries.emplace(std::move(key), Entry{property, place, hash}).first;
        if (entries.size() > chains.size()) {
            ChainAnew();
        } else {
            Chain(*own);
        }
        return true;
    }
    /// Returns the property with this key, or null. The key of a group finds its first member.
    std::shared_ptr<T> Find(std::string_view key) const {
        if (const Item* const found = Lookup(key, hashOf(key))) {
            return found->second.property;
        }
        const auto group = groups.find(key);
        return group == groups.end() ? nullptr : group->second.begin()->second;
    }
    /// Removes the property with this key, whose group has the key `groupKey`. Does nothing if
    /// there is none.
    void Erase(std::string_view key, std::string_view groupKey) {
        const auto own = entries.find(key);
        if (own == entries.end()) {
            return;
        }
        if (const auto group = groups.find(groupKey); group != groups.end()) {
            group->second.erase(own->second.place);
            if (group->second.empty()) {
                groups.erase(group);
            }
        }
        Remove(own);
    }
    /// Removes all members of a group. `keyOf` returns the own key of a property.
    template <typename KeyOf>
    void EraseGroup(std::string_view groupKey, const KeyOf& keyOf) {
        const auto group = groups.find(groupKey);
        if (group == groups.end()) {
            return;
        }
        for (const auto& [place, member] : group->second) {
            if (const auto own = entries.find(keyOf(*member)); own != entries.end()) {
                Remove(own);
            }
        }
        groups.erase(group);
    }
    /// Returns the number of properties.
    std::size_t Size() const { return entries.size(); }
    /// Appends the members of a group, in the order in which they were added.
    void ListGroup(List& list, std::string_view groupKey) const {
        const auto group = groups.find(groupKey);
        if (group == groups.end()) {
            return;
        }
        for (const auto& [place, member] : group->second) {
            list.push_back(member);
        }
    }
    /// Appends every property once, in the order of the bytes of their keys. A property whose own
    /// key is that of a group isn't listed.
    void ListAll(List& list) const {
        std::string last;
        ListSome(list, last, entries.size(), [](std::string_view, const T&) { return true; });
    }
    /// Does the same for the next `most` properties behind the key `last`, which is empty at first
    /// and is moved on, and of these only for those for which `isWanted` returns true, which is
    /// called with the own key and the property. Returns whether there are more behind them.
    template <typename Predicate>
    bool ListSome(List& list, std::string& last, std::size_t most,
                  const Predicate& isWanted) const {
        auto place = last.empty() ? entries.begin() : entries.upper_bound(last);
        for (; place != entries.end() && most > 0; ++place, --most) {
            const auto& [key, entry] = *place;
            if (!IsGroupKey(key) && isWanted(key, *entry.property)) {
                list.push_back(entry.property);
            }
        }
        if (place == entries.end()) {
            return false;
        }
        if (place != entries.begin()) {
            last = std::prev(place)->first;
        }
        return true;
    }

private:
    struct Entry;
    using Entries = std::map<std::string, Entry, std::less<>>;
    /// A key and its entry, which stay at their place in memory until they are removed.
    using Item = typename Entries::value_type;
    struct Entry {
        std::shared_ptr<T> property;
        /// Its place in the group's list, which is in the order of addition.
        std::uint64_t place;
        std::uint64_t hash;
        /// The next entry of the same chain, or null.
        Item* next = nullptr;
    };

    static constexpr std::size_t kFewestChains = 16;

    /// Returns the place of the chain of a hash. There must be chains.
    std::size_t ChainOf(std::uint64_t hash) const {
        return hash >> std::countl_zero(std::uint64_t{chains.size() - 1});
    }
    /// Returns the entry with this key, or null.
    const Item* Lookup(std::string_view key, std::uint64_t hash) const {
        const Item* item = chains.empty() ? nullptr : chains[ChainOf(hash)];
        while (item != nullptr && (item->second.hash != hash || item->first != key)) {
            item = item->second.next;
        }
        return item;
    }
    void Chain(Item& item) {
        Item*& first = chains[ChainOf(item.second.hash)];
        item.second.next = std::exchange(first, &item);
    }
    /// Doubles the number of chains.
    void ChainAnew() {
        chains.assign(std::max(kFewestChains, 2 * chains.size()), nullptr);
        for (Item& item : entries) {
            Chain(item);
        }
    }
    void Remove(typename Entries::iterator own) {
        Item** link = &chains[ChainOf(own->second.hash)];
        while (*link != &*own) {
            link = &(*link)->second.next;
        }
        *link = own->second.next;
        entries.erase(own);
    }

    const KeyedHash hashOf{RandomBits(), RandomBits()};
    Entries entries;
    /// The first entry of each chain, whose number is a power of two. A key is in the chain that
    /// its hash begins with.
    std::vector<Item*> chains;
    std::map<std::string, std::map<std::uint64_t, std::shared_ptr<T>>, std::less<>> groups;
    std::uint64_t nextPlace = 0;
};

}  // namespace vantry
