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

/// The subscriptions of a Hub, over a connection of their own: what arrives on it needs no telling
/// apart from answers to questions. Any thread may call the operations.
class Subscriptions {
public:
    struct Surroundings {
        Requester& requester;
        /// How often everything is read again; 0 for never.
        std::uint32_t reconcileMilliseconds;
        std::function<void(const Error&)> onError;
        /// Called when IsLost has changed.
        std::function<void()> onState;
    };

    Subscriptions(const Endpoint& endpoint, const ChannelTiming& timing, Surroundings around);
    ~Subscriptions();

    /// Enters a subscription, and returns its number. Its first values are told by callbacks.
    std::uint64_t Add(Interest interest, ChangeCallback callback);
    /// Ends a subscription. Its callback runs no more when this returns, but for the one that calls
    /// this. Waits for no callback but its own.
    void Remove(std::uint64_t number);
    /// Ends everything. Waits for the callback that runs. Not to be called by a callback.
    void Stop();
    /// Whether the connection of the subscriptions was lost and isn't restored yet.
    bool IsLost() const { return lost; }
    bool RunsHere() const { return worker.IsMine(); }

private:
    struct Entry {
        Interest interest;
        ChangeCallback callback;
        /// Held while the callback runs, so that ending the subscription can wait for it.
        Lock running;
        std::atomic<bool> hasEnded{false};
        /// Whether it has got its first values. Belongs to the worker.
        bool hasJoined = false;
    };
    /// What a connection was asked for when it was made.
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

    // These run on the worker.
    void Introduce(const std::shared_ptr<Entry>& entry);
    void Renew(Wish wish);
    void Take(const PropertyMessage& message);
    void TakePublication(std::deque<PropertyResponse> records);
    void Reconcile();
    void Subscribe(const std::set<PropertyId>& ids);
    void SubscribeToMissing(const Interest& interest);
    void Deliver(const std::vector<Property>& news);
    void Call(Entry& entry, const Property& property);

    const ChannelTiming timing;
    const Surroundings surroundings;
    Lock lock;
    std::map<std::uint64_t, std::shared_ptr<Entry>> entries GUARDED_BY(lock);
    std::uint64_t lastNumber GUARDED_BY(lock) = 0;
    bool hasStarted GUARDED_BY(lock) = false;
    std::atomic<bool> lost{false};
    /// The present interruption is one that this program has asked for.
    std::atomic<bool> isDeliberate{false};

    /// Belongs to the thread of the channel.
    Wish asked;

    // These belong to the worker.
    Picture picture;
    /// What the present connection is subscribed to.
    Wish present;
    /// What was asked with a subscription and isn't answered yet.
    std::set<PropertyId> unanswered;
    bool isConnected = false;

    Channel channel;
    Worker worker;
};

}  // namespace vantry::client
