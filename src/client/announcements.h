#pragma once

#include <functional>
#include <map>
#include <optional>
#include <vector>

#include "client/property.h"
#include "client/result.h"
#include "runtime/lock.h"
#include "wire/property_message.h"

namespace vantry::client {

/// The properties that this program has announced. Any thread may call the operations.
class Announcements {
public:
    /// Refused, with nothing added, if one is there already or doesn't fit its type.
    Outcome Add(const std::vector<Announcement>& properties);
    void Remove(const PropertyId& id);
    /// The property with its new value; an error if it isn't there or the value doesn't fit.
    Result<Announcement> SetValue(const PropertyId& id, const std::string& value);
    Result<Announcement> Find(const PropertyId& id) const;
    std::vector<Announcement> All() const;

    /// Runs the handlers of what was written. What is to be reported then.
    std::vector<Announcement> TakeWrites(const PropertyMessage& message);

private:
    std::optional<Announcement> TakeWrite(const PropertySetRequest& write);

    Lock lock;
    std::map<PropertyId, Announcement> announced GUARDED_BY(lock);
};

/// Sends and receives one message, as a Hub or a fresh connection does.
using AskFunction =
    std::function<Result<std::unique_ptr<PropertyMessage>>(PropertyMessage& message)>;
using SendFunction = std::function<Outcome(PropertyMessage& message)>;

/// Reports the properties with this status.
Outcome Report(const std::vector<Announcement>& properties, std::string_view status,
               const SendFunction& send);

/// Makes the hub know the properties as those of this connection. What an earlier connection has
/// left there is withdrawn first, because its writes would still go to that one. When this returns,
/// the hub knows them.
Outcome TakePossession(const std::vector<Announcement>& properties, const AskFunction& ask,
                       const SendFunction& send);

}  // namespace vantry::client
