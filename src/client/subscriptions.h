#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <set>

#include "client/channel.h"
#include "client/property.h"
#include "runtime/lock.h"
#include "wire/property_message.h"

namespace vantry::client {

/// The subscriptions of a Hub, over a connection of their own: what arrives on it needs no telling
/// apart from answers. The hub knows lists and everything; groups are sifted here. Any thread may
/// call the operations.
class Subscriptions {
public:
    Subscriptions(const Endpoint& endpoint, const ChannelTiming& timing);

    std::uint64_t Add(Interest interest, ChangeCallback callback);
    /// Its callback runs no more when this returns.
    void Remove(std::uint64_t number);

private:
    struct Entry {
        Interest interest;
        ChangeCallback callback;
    };

    bool Restore(FrameSocket& socket);
    void Deliver(const PropertyMessage& message);
    bool WantsEverything() const REQUIRES(lock);
    PropertyMessage& ListMessage(PropertyMessage& message) const REQUIRES(lock);

    const Endpoint endpoint;
    const ChannelTiming timing;
    /// Held while callbacks run, so that one can be taken out for good.
    Lock callbackLock;
    Lock lock;
    std::map<std::uint64_t, std::shared_ptr<Entry>> entries GUARDED_BY(lock);
    std::uint64_t lastNumber GUARDED_BY(lock) = 0;
    /// What the present connection has subscribed to.
    bool hasEverything GUARDED_BY(lock) = false;
    /// Made with the first subscription; goes first.
    std::unique_ptr<Channel> channel;
    bool started GUARDED_BY(lock) = false;
};

}  // namespace vantry::client
