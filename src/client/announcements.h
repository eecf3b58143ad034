#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "client/property.h"
#include "client/result.h"
#include "runtime/lock.h"

namespace vantry::client {

/// The properties that this program has announced, and what the hub doesn't know of them yet. Any
/// thread may call the operations; none of them blocks.
class Announcements {
public:
    /// What is to be told to the hub.
    struct News {
        std::vector<Announcement> changed;
        std::vector<Announcement> withdrawn;

        bool IsEmpty() const { return changed.empty() && withdrawn.empty(); }
    };

    /// Adds properties as new ones, which the hub doesn't know. Refused, with nothing added, if one
    /// is there already, is there twice, or can't travel.
    Outcome Add(const std::vector<Announcement>& properties);
    /// Takes a property out, and nothing is told of it.
    void Remove(const PropertyId& id);
    /// Takes a property out, and its withdrawal is to be told. NotFound if it isn't there.
    Outcome Withdraw(const PropertyId& id);
    /// Changes a value, which is to be told. An error if the property isn't there or the value
    /// doesn't fit.
    Outcome SetValue(const PropertyId& id, const std::string& value);
    Result<Announcement> Find(const PropertyId& id) const;

    /// Returns what is to be told, and forgets that it is.
    News TakeNews();
    /// Remembers what couldn't be told.
    void PutBack(const News& news);
    /// Returns the properties that are new to the hub; their values need no further telling.
    std::vector<Announcement> TakeNew();
    /// Returns all properties and all withdrawals, for a fresh connection.
    News TakeAll();
    /// The hub knows these.
    void MarkKnown(const std::vector<Announcement>& properties);
    /// Returns the milliseconds that must pass before these may be announced: a withdrawal and a
    /// return in one tick of the hub would reach its subscribers in the wrong order.
    std::uint32_t PauseBefore(const std::vector<Announcement>& properties);

    /// The length of that pause.
    static constexpr std::uint32_t kBetweenWithdrawalAndReturn = 550;

private:
    struct Entry {
        Announcement property;
        bool isNew = true;
        bool isChanged = false;
    };

    mutable Lock lock;
    std::map<PropertyId, Entry> announced GUARDED_BY(lock);
    std::map<PropertyId, Announcement> leaving GUARDED_BY(lock);
    /// When the latest withdrawals were, in nanoseconds.
    std::map<PropertyId, std::uint64_t> withdrawnAt GUARDED_BY(lock);
};

}  // namespace vantry::client
