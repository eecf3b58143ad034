#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "bridge/style.h"
#include "client/hub.h"
#include "client/quiet_thread.h"
#include "runtime/event.h"
#include "runtime/lock.h"

namespace vantry::bridge {

/// The hub of one printer: connects to it as soon as it is there, reports every property and every
/// change, and carries out writes. It never waits for the thread that processes the changes, so
/// that a slow broker can't make the hub wait.
class HubSource {
public:
    struct Answer {
        Request request;
        Result<std::string> value;
    };
    /// Something that the loop of the program must process.
    struct Update {
        enum class Kind { Value, Up, Down, Problem, Answered };

        Kind kind;
        client::Property property = {};
        /// When it was received, in milliseconds since 1970.
        std::int64_t time = 0;
        /// The text of a problem.
        std::string text = {};
        std::shared_ptr<Answer> answer = {};
    };

    /// Starts a thread that connects. `onUpdate` is called on threads of this object when the first
    /// update since Take has arrived. If the system can't create a thread, the one update is that
    /// problem.
    HubSource(client::Endpoint endpoint, std::function<void()> onUpdate);
    /// Blocks until the threads have ended: for the running attempt to connect, and for a running
    /// write.
    ~HubSource();
    HubSource(const HubSource&) = delete;
    HubSource& operator=(const HubSource&) = delete;

    /// Returns the updates since the last call, in order. Thread-safe; doesn't block.
    [[nodiscard]] std::vector<Update> Take();
    /// Returns how many changes were left out so far, because newer ones of the same property
    /// waited with them. Thread-safe.
    std::uint64_t LeftOut() const { return leftOut; }
    /// Carries the write out, after the earlier ones, and reports the answer as an update.
    /// Thread-safe; doesn't block.
    void Write(Request request);

private:
    void Run();
    bool ConnectAndRead();
    void ServeWrites();
    Answer CarryOut(Request request);
    void Add(Update update);
    /// Leaves out the values that are followed by a newer one of the same property.
    void Compact() REQUIRES(lock);

    const client::Endpoint endpoint;
    const std::function<void()> notify;
    std::atomic<bool> stopping{false};
    /// Whether all properties have been reported once, so that Up may be.
    std::atomic<bool> isRead{false};
    std::atomic<std::uint64_t> leftOut{0};
    Mutex lock;
    std::vector<Update> waiting GUARDED_BY(lock);
    std::size_t compactAt GUARDED_BY(lock);
    std::vector<Request> writes GUARDED_BY(lock);
    /// Set when there is a write, or the object ends.
    Event work{true};
    std::unique_ptr<client::Hub> hub;
    client::Subscription subscription;
    client::QuietThread thread;
};

}  // namespace vantry::bridge
