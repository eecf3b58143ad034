#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "client/endpoint.h"
#include "client/hub.h"
#include "client/worker.h"
#include "gateway/inbox.h"
#include "runtime/lock.h"

namespace vantry::gateway {

/// The gateway's connection to the hub. A thread of its own connects, and tries again until there
/// is a hub, and asks it a question every five seconds to see that it answers. Changes go into an
/// inbox, so the connection never waits for the server. All operations are thread-safe.
class HubLink {
public:
    /// What can be seen of the hub.
    struct State {
        /// Whether there is a connection on which the hub has answered the last question.
        bool isConnected = false;
        /// The path of the local device or "HOST:PORT"; that of the first endpoint until there is a
        /// connection.
        std::string endpoint;
        /// Whether it is reached over TCP, where it shows fewer properties.
        bool isExternal = false;
        /// The number of connections that there were, this one included.
        std::uint64_t connections = 0;
        /// The time that the last question took; nothing while the hub doesn't answer.
        std::optional<std::chrono::duration<double>> roundTrip;

        bool operator==(const State&) const = default;
    };

    /// The endpoints are tried in turn until one of them answers, which is kept then. `wake` is
    /// called on other threads when there are changes or State has changed; it must not block.
    HubLink(std::vector<client::Endpoint> endpoints, std::function<void()> wake);
    ~HubLink() { Stop(); }
    HubLink(const HubLink&) = delete;
    HubLink& operator=(const HubLink&) = delete;

    /// Starts the thread. Returns NoConnection if the system has none.
    client::Outcome Start();
    /// Ends the thread and the connection. Blocks until a question that is under way has its answer
    /// or its deadline of five seconds has passed.
    void Stop();

    /// Returns the present state. Any thread may call it; it doesn't block.
    State Now() const;
    /// Removes and returns the changes that have arrived since the last call, oldest first.
    std::vector<Arrival> TakeChanges() { return inbox.TakeAll(); }
    /// Writes and waits until the value is seen, as Hub::WriteAndWait. Blocks for five seconds at
    /// most. Returns NoConnection if there was no hub yet.
    client::Result<client::Property> Write(const client::PropertyId& id, const std::string& value);

private:
    void Look();
    void Connect();
    void Measure();
    void OnConnection(bool connected);
    void Change(const std::function<void(State&)>& change);

    const std::vector<client::Endpoint> candidates;
    const std::function<void()> wakeServer;
    Inbox inbox;
    Mutex lock;
    State state GUARDED_BY(lock);
    /// Shared with writes that are under way when the link stops.
    std::shared_ptr<client::Hub> hub GUARDED_BY(lock);
    /// The following are used by the thread of the link only.
    client::Subscription subscription;
    std::size_t attempts = 0;
    std::chrono::steady_clock::time_point nextQuestion;
    client::Worker thread;
};

/// Returns the state as a JSON object, without the round trip.
std::string HubJson(const HubLink::State& state);

}  // namespace vantry::gateway
