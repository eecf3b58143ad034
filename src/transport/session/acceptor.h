#pragma once

#include <atomic>
#include <memory>

#include "runtime/event.h"
#include "runtime/thread_reaper.h"
#include "transport/session/data_handler_manager.h"
#include "transport/session/listener.h"

namespace vantry {

/// A thread that accepts streams of a listener and makes each of them a session of the manager.
///
/// If Accept returns an empty reference once, the listener is closed and the thread sleeps until
/// the destructor. If the system can't create the thread, nobody accepts the link's peers until the
/// hub is started again: they can connect as far as the system queues them, and get no answer. The
/// hub works on for its other links. Nothing is reported.
class Acceptor {
public:
    /// Opens the listener and starts the thread at a priority of the hub. `reaper` is only used by
    /// the constructor.
    Acceptor(std::shared_ptr<Listener> source, std::shared_ptr<DataHandlerManager> sessions,
             ThreadReaper& reaper);
    /// Closes the listener and blocks until the thread has ended.
    virtual ~Acceptor();
    Acceptor(const Acceptor&) = delete;
    Acceptor& operator=(const Acceptor&) = delete;

    /// Starts the session of a stream. If the system has no thread for it, the stream is closed,
    /// and the call blocks for a short time so that threads can end. Called by the acceptor's
    /// thread.
    virtual void OnStream(std::shared_ptr<Stream> stream);

private:
    void Run();
    void AcceptOne();

    std::atomic<bool> running{true};
    const std::unique_ptr<Thread> thread;
    const std::shared_ptr<Listener> listener;
    Event stopped{true};
    const std::shared_ptr<DataHandlerManager> manager;
    Event wake{true};
    /// Whether Accept is still called. Only the thread uses it.
    bool listening = true;
};

}  // namespace vantry
