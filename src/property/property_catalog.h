#pragma once

#include <deque>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>

#include "property/property.h"
#include "runtime/lock.h"

namespace vantry {

/// The properties of this process, found by their GUID pair or listed by group.
///
/// Each stands under its catalog key, `groupGuid` ":" `guid`, and under the key of its group,
/// `groupGuid` ":". Any thread may call any operation; the references that come out stay good.
class PropertyCatalog {
public:
    PropertyCatalog() = default;
    virtual ~PropertyCatalog() = default;
    PropertyCatalog(const PropertyCatalog&) = delete;
    PropertyCatalog& operator=(const PropertyCatalog&) = delete;

    /// False, with nothing changed, if the identity is taken.
    virtual bool AddProperty(std::shared_ptr<Property> property);

    /// Empty if there is none, or if `guid` is empty.
    std::shared_ptr<Property> FindProperty(std::string_view guid, std::string_view groupGuid) const;
    /// The same by catalog key.
    std::shared_ptr<Property> FindByKey(std::string_view key) const;
    /// Appends every property once, in the order of their catalog keys.
    void ListProperties(std::deque<std::shared_ptr<Property>>& list) const;
    /// Appends the properties of one group, in the order in which they were added.
    void ListGroup(std::deque<std::shared_ptr<Property>>& list, std::string_view groupGuid) const;
    /// Takes out one property, by its catalog key, or a whole group, by the key of the group. Only
    /// the latter forgets the group.
    void RemoveByKey(const std::string& key);
    /// How many properties there are.
    std::size_t Size() const;
    bool HasGroup(std::string_view groupGuid) const;

    static std::string KeyOf(const Property& property);

protected:
    /// Held over work that nobody may see half done.
    const Lock& EntriesLock() const RETURN_CAPABILITY(entriesLock) { return entriesLock; }

private:
    void RemoveOne(const std::string& key) REQUIRES(entriesLock);
    void RemoveGroup(const std::string& groupKey) REQUIRES(entriesLock);

    Lock entriesLock;
    std::multimap<std::string, std::shared_ptr<Property>, std::less<>> entries
        GUARDED_BY(entriesLock);
    Lock groupsLock;
    std::set<std::string, std::less<>> groups GUARDED_BY(groupsLock);
};

}  // namespace vantry
