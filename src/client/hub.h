#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "client/endpoint.h"
#include "client/property.h"
#include "client/result.h"

namespace vantry::client {

/// Ends its subscription when it goes. Must not outlive its Hub, and must not be let go inside the
/// callback that it is for.
class Subscription {
public:
    Subscription() = default;
    explicit Subscription(std::function<void()> ending) : end(std::move(ending)) {}
    ~Subscription();
    Subscription(Subscription&& other) noexcept;
    Subscription& operator=(Subscription&& other) noexcept;

private:
    std::function<void()> end;
};

/// A program's connection to the property hub.
///
/// It connects anew by itself when the hub goes away, with growing pauses, and restores what was
/// announced and subscribed to. Every operation may be called by any thread, except that callbacks
/// must not call operations that wait. What waits does so for at most the deadline of the options.
class Hub {
public:
    struct Options {
        /// How long an operation may wait for the hub.
        std::uint32_t deadlineMilliseconds = 5000;
        /// The pause before the first attempt to connect anew; it doubles up to the longest.
        std::uint32_t firstPauseMilliseconds = 100;
        std::uint32_t longestPauseMilliseconds = 5000;
        /// Called when the connection is there and when it is gone, on a thread of the Hub.
        std::function<void(bool connected)> onConnection;
    };

    /// Connects. Fails if the hub can't be reached within the deadline.
    static Result<std::unique_ptr<Hub>> Connect(Endpoint endpoint, Options options);
    static Result<std::unique_ptr<Hub>> Connect(Endpoint endpoint) {
        return Connect(std::move(endpoint), Options{});
    }
    /// Ends the connection; announced properties stay in the hub with their last values, and writes
    /// to them go nowhere (see Withdraw).
    ~Hub();
    Hub(const Hub&) = delete;
    Hub& operator=(const Hub&) = delete;

    bool IsConnected() const;

    /// The present value of one property. Waits.
    Result<Property> Read(const PropertyId& id);
    /// The members of a group; none is no error. Waits.
    Result<std::vector<Property>> ReadGroup(const std::string& groupGuid);
    /// Everything that this connection may see. Waits.
    Result<std::vector<Property>> ReadAll();

    /// Sends a write. The hub answers no write: success says that it was sent, over a connection
    /// whose writes count.
    Outcome Write(const PropertyId& id, const std::string& value);
    /// Sends a write and waits until the property has the value, which numbers and truths may spell
    /// in another way. The value that it has then.
    Result<Property> WriteAndWait(const PropertyId& id, const std::string& value);

    /// Calls `callback` with the present values, and from then on with each change, until the
    /// subscription goes. After an interruption the present values come once more. Properties that
    /// aren't there yet are waited for.
    Subscription Subscribe(Interest interest, ChangeCallback callback);

    /// Announces properties of this program. Waits; takes over a property that an earlier run has
    /// left in the hub, which lasts half a second. Refused if one of them is announced already or
    /// its value doesn't fit its type.
    Outcome Announce(std::vector<Announcement> properties);
    /// Publishes a new value of an announced property. Without a connection it is published when
    /// there is one again.
    Outcome Change(const PropertyId& id, const std::string& value);
    /// Tells everybody that the property is gone.
    Outcome Withdraw(const PropertyId& id);

    /// The GUID of the component that owns the hub's own properties.
    static const std::string& OwnComponent();

private:
    class Core;
    explicit Hub(std::unique_ptr<Core> implementation);

    const std::unique_ptr<Core> core;
};

}  // namespace vantry::client
