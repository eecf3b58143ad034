#pragma once

#include <deque>
#include <memory>
#include <set>
#include <string>
#include <string_view>

#include "property/keyed_table.h"
#include "property/property.h"
#include "runtime/lock.h"

namespace vantry {

/// The properties of the hub, found by their GUID pair or listed by group.
///
/// The keys are those of CatalogKey and GroupKey. The catalog shares ownership of its properties,
/// so references that it returned stay valid when a property is removed. All operations are
/// thread-safe and call no callback.
class PropertyCatalog {
public:
    PropertyCatalog() = default;
    virtual ~PropertyCatalog() = default;
    PropertyCatalog(const PropertyCatalog&) = delete;
    PropertyCatalog& operator=(const PropertyCatalog&) = delete;

    /// Adds a property. Returns false, with nothing changed, if there is one with this GUID pair.
    virtual bool AddProperty(std::shared_ptr<Property> property);

    /// Returns null if there is no such property, or if `guid` is empty.
    std::shared_ptr<Property> FindProperty(std::string_view guid, std::string_view groupGuid) const;
    /// Returns the property with this catalog key, or null. The key of a group finds its first
    /// member.
    std::shared_ptr<Property> FindByKey(std::string_view key) const;
    /// Appends every property once, in the order of their catalog keys.
    void ListProperties(std::deque<std::shared_ptr<Property>>& list) const;
    /// Appends the properties of one group, in the order in which they were added.
    void ListGroup(std::deque<std::shared_ptr<Property>>& list, std::string_view groupGuid) const;
    /// Removes one property, by its catalog key, or a whole group, by the key of the group. Only
    /// the latter makes HasGroup false. Does nothing if there is no such property.
    void RemoveByKey(const std::string& key);
    /// Returns the number of properties.
    std::size_t Size() const;
    /// Returns whether a property of the group was ever added and the group not removed since.
    /// Nothing in the hub calls it; it completes the operations on groups.
    bool HasGroup(std::string_view groupGuid) const;

    /// Returns the catalog key of the property.
    static std::string KeyOf(const Property& property);

protected:
    /// Returns the lock of the entries, for a subclass whose work other threads must not see half
    /// done.
    const Mutex& EntriesLock() const RETURN_CAPABILITY(entriesLock) { return entriesLock; }

private:
    Mutex entriesLock;
    KeyedTable<Property> entries GUARDED_BY(entriesLock);
    Mutex groupsLock;
    std::set<std::string, std::less<>> groups GUARDED_BY(groupsLock);
};

}  // namespace vantry
