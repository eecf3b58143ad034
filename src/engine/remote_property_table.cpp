#include "engine/remote_property_table.h"

#include "wire/key/key_text.h"

namespace vantry {
namespace {

/// How many properties are listed while the lock is held, so that others don't wait for long.
constexpr std::size_t kListedAtOnce = 1'000;

}  // namespace

std::shared_ptr<RemoteProperty> RemotePropertyTable::Find(std::string_view guid,
                                                          std::string_view groupGuid,
                                                          std::string_view component) const {
    const KeyText key{component, groupGuid, guid};
    ScopedLock guard(lock);
    return entries.Find(key.View());
}

bool RemotePropertyTable::Insert(const std::shared_ptr<RemoteProperty>& property) {
    ScopedLock guard(lock);
    return entries.Insert(property->Key(), GroupKey(property->GroupGuid()), property);
}

void RemotePropertyTable::Erase(const std::string& fullKey) {
    ScopedLock guard(lock);
    if (const std::shared_ptr<RemoteProperty> property = entries.Find(fullKey)) {
        entries.Erase(fullKey, GroupKey(property->GroupGuid()));
    }
}

std::size_t RemotePropertyTable::Size() const {
    ScopedLock guard(lock);
    return entries.Size();
}

void RemotePropertyTable::ListGroup(List& list, std::string_view groupGuid) const {
    const std::string key = GroupKey(groupGuid);
    ScopedLock guard(lock);
    entries.ListGroup(list, key);
}

void RemotePropertyTable::ListProperties(List& list, bool external) const {
    std::string last;
    bool isMore = true;
    while (isMore) {
        ScopedLock guard(lock);
        isMore = entries.ListSome(
            list, last, kListedAtOnce,
            [external](std::string_view fullKey, const RemoteProperty& property) {
                return (!external || property.passesOutside) && !fullKey.ends_with(':');
            });
    }
}

}  // namespace vantry
