// The announced properties and their unsent changes.
//
// A change is first entered here; then a thread that finds a connection takes all unsent changes
// and sends them (see Owner::SendUnsent). So a change that is made without a connection, or while
// one is being restored, is kept until it can be sent, and the latest of several changes of a
// property is sent last.

#include "client/announcements.h"

#include <algorithm>
#include <set>
#include <utility>

#include "client/travel.h"
#include "runtime/clock.h"

namespace vantry::client {
namespace {

Error Unknown(const PropertyId& id) {
    return {ErrorCode::NotFound, id.group + ":" + id.property + " was not announced"};
}

}  // namespace

Outcome Announcements::Add(const std::vector<Announcement>& properties) {
    std::set<PropertyId> ids;
    ScopedLock guard(lock);
    for (const Announcement& property : properties) {
        if (Outcome good = CheckAnnouncement(property); !good) {
            return good;
        }
        if (announced.contains(property.id) || !ids.insert(property.id).second) {
            return Error{ErrorCode::Refused, "\"" + property.name + "\" is announced already"};
        }
    }
    for (const Announcement& property : properties) {
        announced.emplace(property.id, Entry{property});
        leaving.erase(property.id);
    }
    return Done{};
}

void Announcements::Remove(const PropertyId& id) {
    ScopedLock guard(lock);
    announced.erase(id);
}

Outcome Announcements::Withdraw(const PropertyId& id) {
    ScopedLock guard(lock);
    const auto found = announced.find(id);
    if (found == announced.end()) {
        return Unknown(id);
    }
    leaving.insert_or_assign(id, std::move(found->second.property));
    announced.erase(found);
    withdrawnAt[id] = NowNanoseconds();
    return Done{};
}

Outcome Announcements::SetValue(const PropertyId& id, const std::string& value) {
    ScopedLock guard(lock);
    const auto found = announced.find(id);
    if (found == announced.end()) {
        return Unknown(id);
    }
    Announcement changed = found->second.property;
    changed.value = value;
    if (Outcome good = CheckAnnouncement(changed); !good) {
        return good;
    }
    found->second.property.value = value;
    found->second.isChanged = true;
    return Done{};
}

Result<Announcement> Announcements::Find(const PropertyId& id) const {
    ScopedLock guard(lock);
    const auto found = announced.find(id);
    if (found == announced.end()) {
        return Unknown(id);
    }
    return found->second.property;
}

Announcements::Unsent Announcements::TakeUnsent() {
    Unsent unsent;
    ScopedLock guard(lock);
    for (auto& [id, entry] : announced) {
        if (entry.isChanged && !entry.isNew) {
            entry.isChanged = false;
            unsent.changed.push_back(entry.property);
        }
    }
    for (auto& [id, property] : std::exchange(leaving, {})) {
        unsent.withdrawn.push_back(std::move(property));
    }
    return unsent;
}

void Announcements::PutBack(const Unsent& unsent) {
    ScopedLock guard(lock);
    for (const Announcement& property : unsent.changed) {
        if (const auto found = announced.find(property.id); found != announced.end()) {
            found->second.isChanged = true;
        }
    }
    for (const Announcement& property : unsent.withdrawn) {
        if (!announced.contains(property.id)) {
            leaving.emplace(property.id, property);
        }
    }
}

std::vector<Announcement> Announcements::TakeNew() {
    std::vector<Announcement> fresh;
    ScopedLock guard(lock);
    for (auto& [id, entry] : announced) {
        if (entry.isNew) {
            entry.isChanged = false;
            fresh.push_back(entry.property);
        }
    }
    return fresh;
}

Announcements::Unsent Announcements::TakeAll() {
    Unsent all;
    ScopedLock guard(lock);
    for (auto& [id, entry] : announced) {
        entry.isChanged = false;
        all.changed.push_back(entry.property);
    }
    for (auto& [id, property] : std::exchange(leaving, {})) {
        all.withdrawn.push_back(std::move(property));
    }
    return all;
}

void Announcements::MarkKnown(const std::vector<Announcement>& properties) {
    ScopedLock guard(lock);
    for (const Announcement& property : properties) {
        if (const auto found = announced.find(property.id); found != announced.end()) {
            found->second.isNew = false;
        }
    }
}

std::uint32_t Announcements::PauseBefore(const std::vector<Announcement>& properties) {
    constexpr std::uint64_t kPause = kBetweenWithdrawalAndReturn * kNanosecondsPerMillisecond;
    const std::uint64_t now = NowNanoseconds();
    std::uint64_t latest = 0;
    ScopedLock guard(lock);
    std::erase_if(withdrawnAt, [&](const auto& entry) { return entry.second + kPause <= now; });
    for (const Announcement& property : properties) {
        if (const auto found = withdrawnAt.find(property.id); found != withdrawnAt.end()) {
            latest = std::max(latest, found->second);
        }
    }
    return latest == 0
               ? 0
               : static_cast<std::uint32_t>((latest + kPause - now) / kNanosecondsPerMillisecond) +
                     1;
}

}  // namespace vantry::client
