#pragma once

#include <deque>
#include <exception>
#include <memory>
#include <string>
#include <vector>

#include "client/channel.h"
#include "client/hub.h"
#include "client/owner.h"
#include "client/owners.h"
#include "client/question.h"
#include "client/requester.h"
#include "client/subscriptions.h"
#include "client/worker.h"
#include "runtime/lock.h"

namespace vantry::client {

/// The connections and threads of a Hub. All public operations are thread-safe; those that have a
/// deadline block until then at most.
class Hub::Core {
public:
    /// Starts no thread and opens no connection.
    Core(Endpoint hubEndpoint, Options given);
    /// Stops all threads. Must not be called by a callback or handler.
    ~Core();

    /// Returns the deadline of an operation that begins now.
    Deadline In() const { return Deadline::In(options.deadlineMilliseconds); }

    /// Starts the threads and waits until the hub has answered on `socket`. Fails with NoConnection
    /// if the system can't create a thread.
    Outcome Start(std::shared_ptr<FrameSocket> socket, const Deadline& deadline);

    // These are the operations of the Hub, see there.

    bool IsConnected() const { return requests.IsUp() && !subscriptions->IsLost(); }

    Result<Property> Read(const PropertyId& id, const Deadline& deadline);
    Result<std::vector<Property>> ReadMany(const Question& question);
    Outcome Write(const std::vector<PropertyWrite>& writes, const Deadline& deadline);
    Result<Property> WriteAndWait(const PropertyId& id, const std::string& value);

    const Options options;

private:
    Outcome Restore(FrameSocket& socket);
    void OnMessage(std::unique_ptr<ReceivedMessage> message);
    void TakeWrites(const PropertyMessage& message);
    void OnState(bool connected);
    void ReportState();
    void ReportError(const Error& error) { Run(options.onError, error); }
    /// Waits for the value that was written. The property may have had it before.
    Result<Property> AwaitValue(const Property& before, const std::string& value,
                                const Deadline& deadline);
    /// Returns what the heartbeats say about the owner of the property. Blocks.
    Owners::State OwnerOf(const PropertyId& id);

    /// Calls a function of the program's options on the thread of the handlers, if it is set.
    template <typename Callback, typename Argument>
    void Run(const Callback& callback, const Argument& argument) {
        if (!callback) {
            return;
        }
        handlers.Post([callback, argument] {
            try {
                callback(argument);
            } catch (const std::exception&) {
                // An error of the error callback can be reported to nobody.
            }
        });
    }

    const Endpoint endpoint;
    const ChannelTiming timing;
    /// Also held while a change of the state is queued for the program, so that two threads report
    /// their changes in order.
    Mutex stateLock;
    bool reported GUARDED_BY(stateLock) = false;

public:
    Channel requests;
    Requester requester;
    Owner owner;
    const std::shared_ptr<Subscriptions> subscriptions;

private:
    Worker handlers;
};

}  // namespace vantry::client
