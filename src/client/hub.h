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

/// Ends its subscription when it goes: the callback runs no more then. To let it go waits for the
/// callback if that runs on another thread, so no lock may be held meanwhile that the callback
/// takes. It may go inside any callback, its own included, and may outlive its Hub.
class [[nodiscard]] Subscription {
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
/// announced and subscribed to. Every operation may be called by any thread, in callbacks and
/// handlers too. What waits does so until the deadline of the options at most, the time before
/// other threads' questions are answered included; only the look-up of a host name is up to the
/// system.
///
/// What can't travel is refused and nothing of it is sent: see Announcement for the identities; one
/// property or write must fit into a message of 4 MiB. Larger requests are split.
///
/// A child process that inherits a Hub must not use it, nor destroy it.
class Hub {
public:
    struct Options {
        /// How long an operation may wait for the hub.
        std::uint32_t deadlineMilliseconds = 5000;
        /// The pause before the first attempt to connect anew; it doubles up to the longest.
        std::uint32_t firstPauseMilliseconds = 100;
        std::uint32_t longestPauseMilliseconds = 5000;
        /// How often what is subscribed to is read again. The hub may drop changes in a burst, so a
        /// subscriber may be wrong for so long, but not longer. 0 for never.
        std::uint32_t reconcileMilliseconds = 10'000;
        /// The longest message that is taken from the hub; a longer one ends the connection. Memory
        /// is taken only for what has arrived.
        std::uint32_t longestMessageBytes = 256U << 20U;
        /// Called when the connections are there and when one of them is gone.
        std::function<void(bool connected)> onConnection;
        /// Called with what fails in the background: an attempt to connect, the restoration of what
        /// was announced, a handler or callback that throws. Both run on the thread of the handlers
        /// (see Announcement), except what a callback of a subscription throws.
        std::function<void(const Error&)> onError;
    };

    /// Connects, and waits until the hub has answered. Fails if it can't be reached or doesn't
    /// answer within the deadline, or if what answers isn't a hub.
    static Result<std::unique_ptr<Hub>> Connect(Endpoint endpoint, Options options);
    static Result<std::unique_ptr<Hub>> Connect(Endpoint endpoint) {
        return Connect(std::move(endpoint), Options{});
    }
    /// Waits for the callback and the handler that run, tells the hub that this is the end, and
    /// ends the connections; what was changed before is in the hub then. Announced properties stay
    /// there with their last values, and writes to them go nowhere (see Withdraw). A callback or
    /// handler must not destroy its Hub.
    ~Hub();
    Hub(const Hub&) = delete;
    Hub& operator=(const Hub&) = delete;

    /// Whether the connections to the hub are there, that of the subscriptions included.
    bool IsConnected() const;

    /// The present value of one property. Waits.
    Result<Property> Read(const PropertyId& id);
    /// The members of a group; none is no error. Waits.
    Result<std::vector<Property>> ReadGroup(const std::string& groupGuid);
    /// Everything that this connection may see. Waits.
    Result<std::vector<Property>> ReadAll();

    /// Sends a write. The hub answers no write: success says that it was sent. Refused over TCP,
    /// where the hub takes none.
    Outcome Write(const PropertyId& id, const std::string& value);
    /// Sends a write and waits until the property has the value, which numbers and truths may spell
    /// in another way. Returns the value that it has then. A property of the hub takes it at once
    /// or is Refused. An owner says nothing when it refuses, which is TimedOut.
    ///
    /// If a truth of another component has the value already, it may be a command, whose outcome is
    /// told only if it is another one: this waits for it until the deadline, and is Refused if it
    /// comes. A command that fails twice in a row can't be told from one that doesn't run.
    Result<Property> WriteAndWait(const PropertyId& id, const std::string& value);

    /// Calls `callback` with the present values, and from then on with each change, until the
    /// subscription goes. After an interruption, from time to time, and after a burst, everything
    /// is read again, and what differs is told as Origin::Reconciled; what isn't there any more is
    /// told as not available. An older value is never told after a newer one. Properties that
    /// aren't there yet are waited for. An identity that can't travel is never heard of.
    Subscription Subscribe(Interest interest, ChangeCallback callback);

    /// Announces properties of this program. Waits; takes over a property that an earlier run has
    /// left in the hub, which lasts half a second more, and so does the return of one that was just
    /// withdrawn. Without a connection they are announced when there is one again. Refused, with
    /// none announced, if one of them can't travel, is announced already, or has a value that
    /// doesn't fit its type.
    ///
    /// The hub can't tell an earlier run from another program that lives: two programs with one
    /// property take it from each other. A program that must know subscribes to its own
    /// properties, and hears of the withdrawal by the other.
    Outcome Announce(std::vector<Announcement> properties);
    /// Publishes a new value of an announced property. Without a connection it is published when
    /// there is one again. NoConnection if the hub keeps ending the connection when the properties
    /// are announced on it; the value is kept all the same.
    Outcome Change(const PropertyId& id, const std::string& value);
    /// Tells everybody that the property is gone, now or when there is a connection again.
    Outcome Withdraw(const PropertyId& id);

    /// The GUID of the component that owns the hub's own properties.
    static const std::string& OwnComponent();

private:
    class Core;
    explicit Hub(std::unique_ptr<Core> implementation);

    const std::unique_ptr<Core> core;
};

}  // namespace vantry::client
