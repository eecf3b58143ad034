#pragma once

#include <cstddef>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "engine/remote_property.h"
#include "runtime/lock.h"

namespace vantry {

/// The properties that components have announced, by full key and by group. The same GUID pair of
/// two components is two properties. Any thread may call any operation.
class RemotePropertyTable {
public:
    using List = std::deque<std::shared_ptr<RemoteProperty>>;

    /// Empty if there is none.
    std::shared_ptr<RemoteProperty> Find(std::string_view guid, std::string_view groupGuid,
                                         std::string_view component) const;
    /// False, with nothing changed, if the full key is present.
    bool Insert(const std::shared_ptr<RemoteProperty>& property);
    /// Takes the property of that full key out, if it is there.
    void Erase(const std::string& fullKey);
    /// How many properties there are.
    std::size_t Size() const;
    /// Appends the members of a group, of whatever component, in the order of insertion.
    void ListGroup(List& list, std::string_view groupGuid) const;
    /// Appends every property that has a GUID, in the order of the full keys.
    void ListProperties(List& list) const;
    /// Appends every property whose owner has this account.
    void ListOwnedBy(List& list, const ConnectionAccount& account) const;

private:
    using Entry = std::shared_ptr<RemoteProperty>;

    Lock lock;
    std::map<std::string, Entry, std::less<>> entries GUARDED_BY(lock);
    std::multimap<std::string, Entry, std::less<>> groups GUARDED_BY(lock);
};

}  // namespace vantry
