// One table holds the properties in the order of their keys, and each group in the order of its
// members' registration. The names of groups stand in a set of their own, because a group whose
// last member was removed still exists until it is removed itself. The two locks are never held by
// a look-up at the same time; AddProperty takes the lock of the groups inside that of the entries.

#include "property/property_catalog.h"

#include <utility>

#include "wire/key/key_text.h"
#include "wire/key/property_key.h"

namespace vantry {

std::string PropertyCatalog::KeyOf(const Property& property) {
    return CatalogKey(property.GroupGuid(), property.Guid());
}

bool PropertyCatalog::AddProperty(std::shared_ptr<Property> property) {
    const std::string& groupGuid = property->GroupGuid();
    ScopedLock guard(entriesLock);
    if (!entries.Insert(KeyOf(*property), GroupKey(groupGuid), property)) {
        return false;
    }
    ScopedLock groupsGuard(groupsLock);
    groups.insert(groupGuid);
    return true;
}

std::shared_ptr<Property> PropertyCatalog::FindProperty(std::string_view guid,
                                                        std::string_view groupGuid) const {
    return guid.empty() ? nullptr : FindByKey(KeyText{groupGuid, guid}.View());
}

std::shared_ptr<Property> PropertyCatalog::FindByKey(std::string_view key) const {
    ScopedLock guard(entriesLock);
    return entries.Find(key);
}

void PropertyCatalog::ListProperties(std::deque<std::shared_ptr<Property>>& list) const {
    ScopedLock guard(entriesLock);
    entries.ListAll(list);
}

void PropertyCatalog::ListGroup(std::deque<std::shared_ptr<Property>>& list,
                                std::string_view groupGuid) const {
    const std::string key = GroupKey(groupGuid);
    ScopedLock guard(entriesLock);
    entries.ListGroup(list, key);
}

std::size_t PropertyCatalog::Size() const {
    ScopedLock guard(entriesLock);
    return entries.Size();
}

bool PropertyCatalog::HasGroup(std::string_view groupGuid) const {
    ScopedLock guard(groupsLock);
    return groups.contains(groupGuid);
}

void PropertyCatalog::RemoveByKey(const std::string& key) {
    if (!IsGroupKey(key)) {
        ScopedLock guard(entriesLock);
        if (const std::shared_ptr<Property> property = entries.Find(key)) {
            entries.Erase(key, GroupKey(property->GroupGuid()));
        }
        return;
    }
    {
        ScopedLock guard(groupsLock);
        groups.erase(key.substr(0, key.size() - 1));
    }
    ScopedLock guard(entriesLock);
    entries.EraseGroup(key, KeyOf);
}

}  // namespace vantry
