#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "client/property.h"
#include "client/result.h"
#include "runtime/lock.h"

namespace vantry::client {

/// The properties that this program has announced, and which of their changes the hub doesn't know
/// yet. All operations are thread-safe and don't block.
class Announcements {
public:
    /// Changes and withdrawals that haven't been sent to the hub.
    struct Unsent {
        std::vector<Announcement> changed;
        std::vector<Announcement> withdrawn;

        bool IsEmpty() const { return changed.empty() && withdrawn.empty(); }
    };

    /// Adds properties as new ones, which the hub doesn't know. Returns Refused, with none added,
    /// if one of them is announced already, occurs twice, or isn't valid (see CheckAnnouncement).
    Outcome Add(const std::vector<Announcement>& properties);
    /// Removes a property without a withdrawal.
    void Remove(const PropertyId& id);
    /// Removes a property and keeps its withdrawal to be sent. Returns NotFound if it isn't
    /// announced.
    Outcome Withdraw(const PropertyId& id);
    /// Changes a value, which is then to be sent. Returns NotFound if the property isn't announced,
    /// and Refused if the value isn't one of its type.
    Outcome SetValue(const PropertyId& id, const std::string& value);
    /// Returns a copy of the property, or NotFound.
    Result<Announcement> Find(const PropertyId& id) const;

    /// Returns the changes and withdrawals that are to be sent, and marks them as sent. New
    /// properties aren't among them.
    [[nodiscard]] Unsent TakeUnsent();
    /// Marks these as not sent again, because sending them failed.
    void PutBack(const Unsent& unsent);
    /// Returns the properties that are new to the hub, and marks their values as sent.
    [[nodiscard]] std::vector<Announcement> TakeNew();
    /// Returns all properties and all withdrawals for a new connection, and marks them as sent.
    [[nodiscard]] Unsent TakeAll();
    /// Marks these properties as known to the hub.
    void MarkKnown(const std::vector<Announcement>& properties);
    /// Returns the milliseconds to wait before these properties may be announced: the hub would
    /// publish a withdrawal and a new announcement within one tick in the wrong order.
    [[nodiscard]] std::uint32_t PauseBefore(const std::vector<Announcement>& properties);

    /// The length of that pause.
    static constexpr std::uint32_t kBetweenWithdrawalAndReturn = 550;

private:
    struct Entry {
        Announcement property;
        bool isNew = true;
        bool isChanged = false;
    };

    mutable Mutex lock;
    std::map<PropertyId, Entry> announced GUARDED_BY(lock);
    std::map<PropertyId, Announcement> leaving GUARDED_BY(lock);
    /// The times of the latest withdrawals in nanoseconds of NowNanoseconds.
    std::map<PropertyId, std::uint64_t> withdrawnAt GUARDED_BY(lock);
};

}  // namespace vantry::client
