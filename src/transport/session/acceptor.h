#pragma once

#include <atomic>
#include <memory>

#include "runtime/event.h"
#include "runtime/thread_reaper.h"
#include "transport/session/data_handler_manager.h"
#include "transport/session/listener.h"

namespace vantry {

/// A thread that asks a listener for streams and makes each a session of the manager.
///
/// A listener that once gives nothing is closed and not asked again; the thread then sleeps until
/// the acceptor goes. The destructor closes the listener and waits for the thread.
class Acceptor {
public:
    /// Opens the listener and starts the thread.
    Acceptor(std::shared_ptr<Listener> source, std::shared_ptr<DataHandlerManager> sessions,
             ThreadReaper& reaper);
    virtual ~Acceptor();
    Acceptor(const Acceptor&) = delete;
    Acceptor& operator=(const Acceptor&) = delete;

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
    /// Of the thread alone: Accept is to be called.
    bool listening = true;
};

}  // namespace vantry
