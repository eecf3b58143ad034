#pragma once

#include <cstddef>
#include <deque>
#include <memory>
#include <string>
#include <string_view>

#include "engine/remote_property.h"
#include "property/keyed_table.h"
#include "runtime/lock.h"

namespace vantry {

/// The properties that components have announced, found by full key and listed by group. The same
/// GUID pair of two components is two properties. The table shares ownership of its properties. All
/// operations are thread-safe; a short lock is all that they wait for.
class RemotePropertyTable {
public:
    using List = KeyedTable<RemoteProperty>::List;

    /// Returns null if there is no such property.
    std::shared_ptr<RemoteProperty> Find(std::string_view guid, std::string_view groupGuid,
                                         std::string_view component) const;
    /// Adds a property. Returns false, with nothing changed, if the full key is present.
    [[nodiscard]] bool Insert(const std::shared_ptr<RemoteProperty>& property);
    /// Removes the property with this full key. Does nothing if there is none.
    void Erase(const std::string& fullKey);
    /// Returns the number of properties.
    std::size_t Size() const;
    /// Appends the members of a group, of all components, in the order of insertion.
    void ListGroup(List& list, std::string_view groupGuid) const;
    /// Appends every property in the order of the full keys. A property whose full key ends with
    /// ":" is left out: a peer couldn't ask for it, because its name is that of a group. If
    /// `external` is true, those that external peers may not see are left out too. The lock isn't
    /// held for the whole list: what is inserted or erased meanwhile may or may not be listed.
    void ListProperties(List& list, bool external) const;

private:
    Mutex lock;
    KeyedTable<RemoteProperty> entries GUARDED_BY(lock);
};

}  // namespace vantry
