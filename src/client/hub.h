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

/// An RAII handle of a subscription. Destroying it ends the subscription: the callback isn't called
/// again. The destructor waits for the callback if that runs on another thread, so the caller must
/// not hold a lock that the callback enters. A Subscription may be destroyed within any callback,
/// its own included, and may outlive its Hub. A default-constructed one has no effect.
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
/// When the connection is lost, it connects again, with growing pauses, and restores announcements
/// and subscriptions. All operations are thread-safe and may be called within callbacks and
/// handlers. An operation that blocks does so until the deadline of the options at most, which
/// includes the time in which questions of other threads are answered.
///
/// What the protocol can't express is refused, with nothing sent: Announcement says which
/// identities are valid, and one property or write must fit into a message of 4 MiB. Larger
/// requests are split into several messages.
///
/// A child process that inherits a Hub must not use it, nor destroy it.
class Hub {
public:
    struct Options {
        /// The time that an operation may wait for the hub.
        std::uint32_t deadlineMilliseconds = 5000;
        /// The pause before the first attempt to connect again. It doubles up to the longest pause.
        std::uint32_t firstPauseMilliseconds = 100;
        std::uint32_t longestPauseMilliseconds = 5000;
        /// The interval at which subscribed properties are read again. The hub may drop changes in
        /// a burst, so a subscriber may have a wrong value for this time at most. 0 for never.
        std::uint32_t reconcileMilliseconds = 10'000;
        /// The interval at which announced properties show that their program runs: Announce adds
        /// a heartbeat property for each component, which this class keeps up to date, and from
        /// which an Owners object of another program learns whether the owner runs and when it set
        /// its values. 0 for no heartbeats.
        std::uint32_t heartbeatMilliseconds = 10'000;
        /// The longest message that is accepted from the hub; a longer one ends the connection.
        /// Memory is allocated only for bytes that have arrived.
        std::uint32_t longestMessageBytes = 256U << 20U;
        /// Called by Connect, on the calling thread, when what it has reached hasn't answered for a
        /// second, with an error that names the address. It may be another kind of server that
        /// waits silently, or a hub with much to do; Connect waits on until the deadline.
        std::function<void(const Error&)> onSilence;
        /// Called when IsConnected has changed.
        std::function<void(bool connected)> onConnection;
        /// Called with the errors of background activities: of an attempt to connect, of restoring
        /// announcements, and of handlers and callbacks that throw. This function and onConnection
        /// run on the thread of the handlers (see Announcement).
        std::function<void(const Error&)> onError;
    };

    /// Connects and blocks until the hub has answered. Returns NoConnection if the hub can't be
    /// reached, the peer isn't a hub, or the system can't create a thread, and TimedOut if the hub
    /// doesn't answer within the deadline.
    static Result<std::unique_ptr<Hub>> Connect(Endpoint endpoint, Options options);
    static Result<std::unique_ptr<Hub>> Connect(Endpoint endpoint) {
        return Connect(std::move(endpoint), Options{});
    }
    /// Blocks until running callbacks and handlers have returned, and ends the connections in
    /// order, so that the hub has received all earlier changes. Announced properties remain in the
    /// hub with their last values, and writes to them are lost (see Withdraw). A callback or
    /// handler must not destroy its Hub.
    ~Hub();
    Hub(const Hub&) = delete;
    Hub& operator=(const Hub&) = delete;

    /// Returns whether there is a connection to the hub, and one for the subscriptions if there are
    /// any.
    bool IsConnected() const;

    /// Returns the present state of one property, or NotFound. Blocks.
    Result<Property> Read(const PropertyId& id);
    /// Returns the members of a group, of which there may be none. Blocks.
    Result<std::vector<Property>> ReadGroup(const std::string& groupGuid);
    /// Returns every property that this connection may see. Blocks.
    Result<std::vector<Property>> ReadAll();

    /// Sends a write. The hub doesn't answer writes, so success means that it was sent. Returns
    /// Refused over TCP, where the hub accepts no writes.
    Outcome Write(const PropertyId& id, const std::string& value);
    /// Sends several writes in one message, which the hub processes in this order. Returns Refused,
    /// with nothing sent, if one of them can't be sent or they don't fit into one message.
    Outcome Write(const std::vector<PropertyWrite>& writes);
    /// Sends a write, blocks until the property has the value, and returns its state. Numbers and
    /// bools may be spelled differently (see SameValue). Returns Refused if the hub rejects the
    /// value for a property of its own. The owner of another property sends nothing when it rejects
    /// a value, so the result is TimedOut; it is OwnerGone, after a second or at the deadline, if
    /// the heartbeat of the owner shows that its program has ended (see Owners).
    ///
    /// If a bool of another component has the value already, it may be a command, whose result is
    /// published only if it differs: the call then blocks until the deadline, and returns Refused
    /// if the value changes. It can't distinguish a command that fails twice in a row from one that
    /// doesn't run.
    Result<Property> WriteAndWait(const PropertyId& id, const std::string& value);

    /// Calls `callback` with the present values and then with each change, until the returned
    /// object is destroyed. After an interruption, at regular intervals, and after a burst,
    /// everything is read again, and differences are reported as Origin::Reconciled; a property
    /// that no longer exists is reported as not available. An older value is never reported after a
    /// newer one. Properties that don't exist yet are reported when they are announced; an invalid
    /// identity is never reported. Doesn't block. The first subscription starts two threads; if the
    /// system can't create one, Options::onError is called and no change is reported.
    Subscription Subscribe(Interest interest, ChangeCallback callback);

    /// Announces properties of this program. Blocks until the hub has them. If an earlier run left
    /// one of them in the hub, or one was just withdrawn, that takes about half a second more.
    /// Without a connection the properties are announced when there is one again, and the result is
    /// success. Returns Refused, with none announced, if one of them isn't valid, is announced
    /// already, or has a value that isn't one of its type.
    ///
    /// The hub can't distinguish an earlier run from another running program: two programs that
    /// announce the same property replace each other as its owner. A program that must know this
    /// subscribes to its own properties, and receives the withdrawal by the other program.
    Outcome Announce(std::vector<Announcement> properties);
    /// Publishes a new value of an announced property. Without a connection it is published when
    /// there is one again, and the result is success. Returns NotFound for a property that isn't
    /// announced and Refused for a value that isn't one of its type. Returns NoConnection if the
    /// hub repeatedly ends the connection when the properties are announced on it; the value is
    /// kept in that case.
    Outcome Change(const PropertyId& id, const std::string& value);
    /// Publishes that the property no longer exists, now or when there is a connection again.
    /// Returns NotFound for a property that isn't announced.
    Outcome Withdraw(const PropertyId& id);

    /// Returns the GUID of the component that owns the hub's own properties.
    static const std::string& OwnComponent();

private:
    class Core;
    explicit Hub(std::unique_ptr<Core> implementation);

    const std::unique_ptr<Core> core;
};

}  // namespace vantry::client
