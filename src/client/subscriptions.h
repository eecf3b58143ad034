#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <vector>

#include "client/channel.h"
#include "client/picture.h"
#include "client/property.h"
#include "client/requester.h"
#include "client/worker.h"
#include "runtime/lock.h"

namespace vantry::client {

/// The subscriptions of a Hub. They have a connection of their own, so that publications needn't be
/// distinguished from answers to questions. All operations are thread-safe.
class Subscriptions {
public:
    struct Surroundings {
        Requester& requester;
        /// The interval at which everything is read again; 0 for never.
        std::uint32_t reconcileMilliseconds;
        std::function<void(const Error&)> onError;
        /// Called when IsLost has changed.
        std::function<void()> onState;
    };

    Subscriptions(const Endpoint& endpoint, const ChannelTiming& timing, Surroundings around);
    ~Subscriptions();

    /// Adds a subscription, and returns its number. Its first values are reported by callbacks.
    /// Doesn't block. The first one starts the threads; if the system can't create one, onError is
    /// called and no change is reported.
    std::uint64_t Add(Interest interest, ChangeCallback callback);
    /// Ends a subscription. Blocks until its callback has returned, unless that is the caller; the
    /// callback isn't called again. Doesn't wait for other callbacks.
    void Remove(std::uint64_t number);
    /// Ends the threads and the connection. Blocks until a running callback has returned. Must not
    /// be called by a callback.
    void Stop();
    /// Returns whether the connection of the subscriptions was lost and isn't restored yet.
    bool IsLost() const { return lost; }
    /// Returns whether the caller is a callback.
    bool RunsHere() const { return worker.IsMine(); }

private:
    struct Entry {
        Interest interest;
        ChangeCallback callback;
        /// Guards an activity: it is held while the callback runs, so that Remove can wait for it.
        /// It is re-entrant, so a callback may end its own subscription.
        Mutex running;
        std::atomic<bool> hasEnded{false};
        /// Whether the subscription has received its first values. Used by the worker only.
        bool hasJoined = false;
    };
    /// The properties that a connection is to be subscribed to.
    struct Wish {
        bool everything = false;
        std::set<PropertyId> ids;
    };

    Wish Wanted();
    Outcome Restore(FrameSocket& socket);
    void OnMessage(std::unique_ptr<ReceivedMessage> message);
    void OnState(bool isUp);
    void NoteLoss();
    void NoteRecovery();
    std::vector<std::shared_ptr<Entry>> Entries();

    // The following functions run on the worker.
    void Introduce(const std::shared_ptr<Entry>& entry);
    void Renew(Wish wish);
    void Take(const PropertyMessage& message);
    void TakePublication(std::deque<PropertyResponse> records);
    void Reconcile();
    void Subscribe(const std::set<PropertyId>& ids);
    void SubscribeToMissing(const Interest& interest);
    void Deliver(const std::vector<Property>& changes);
    void Call(Entry& entry, const Property& property);

    const ChannelTiming timing;
    const Surroundings surroundings;
    Mutex lock;
    std::map<std::uint64_t, std::shared_ptr<Entry>> entries GUARDED_BY(lock);
    std::uint64_t lastNumber GUARDED_BY(lock) = 0;
    bool hasStarted GUARDED_BY(lock) = false;
    std::atomic<bool> lost{false};
    /// Whether this library has caused the present interruption.
    std::atomic<bool> isDeliberate{false};

    /// What was requested on the present connection. Used by the thread of the channel only.
    Wish asked;

    // The following fields are used by the worker only.
    Picture picture;
    /// The properties that the present connection is subscribed to.
    Wish present;
    /// The properties whose subscription isn't answered yet.
    std::set<PropertyId> unanswered;
    bool isConnected = false;

    Channel channel;
    Worker worker;
};

}  // namespace vantry::client
