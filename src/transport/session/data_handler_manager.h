#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <list>
#include <memory>
#include <utility>

#include "platform/hub_status.h"
#include "platform/session_log.h"
#include "runtime/event.h"
#include "runtime/lock.h"
#include "runtime/thread_reaper.h"
#include "transport/session/data_handler.h"
#include "transport/session/message_visitor.h"
#include "transport/stream/peek_stream.h"

namespace vantry {

/// Runs a session for each stream: a thread that finds the next message in the stream and passes it
/// to the visitor, again and again until the stream or the visitor ends the session. All operations
/// are thread-safe.
class DataHandlerManager {
public:
    DataHandlerManager(std::shared_ptr<MessageVisitor> messageVisitor,
                       std::shared_ptr<ThreadReaper> threadReaper,
                       std::shared_ptr<SessionLog> sessionLog, std::uint32_t priority,
                       HubStatus& hubStatus);
    /// Closes the streams of all sessions and blocks until their threads have left this object.
    ~DataHandlerManager();
    DataHandlerManager(const DataHandlerManager&) = delete;
    DataHandlerManager& operator=(const DataHandlerManager&) = delete;

    /// Adds a handler, which the manager then owns. Of those that recognise something, the one with
    /// the lowest position gets the message, and the one that was added first among equals.
    void AddHandler(std::unique_ptr<DataHandler> handler);
    /// Starts a session of the stream on a new thread, without waiting for it. Returns false if the
    /// system can't create a thread; the stream is closed then, so a caller may ignore the result.
    bool AddSession(std::shared_ptr<PeekStream> stream);
    /// Blocks until the next message begins, dropping bytes that no handler recognises, and passes
    /// the message to the visitor on the caller's thread. Returns the visitor's result, of which 0
    /// ends the session; the stream is closed then. Returns 0 as well if the stream has ended.
    [[nodiscard]] std::uint32_t ProcessNext(const std::shared_ptr<PeekStream>& stream);

private:
    /// A handler and the one that was added after it, or null.
    struct HandlerEntry {
        explicit HandlerEntry(std::unique_ptr<DataHandler> owned) : handler(std::move(owned)) {}

        const std::unique_ptr<DataHandler> handler;
        std::atomic<HandlerEntry*> next{nullptr};
    };
    struct SessionEntry {
        std::uint32_t id;
        std::shared_ptr<PeekStream> stream;
    };
    struct SessionStart {
        std::shared_ptr<PeekStream> stream;
        std::unique_ptr<Thread> thread;
        std::uint32_t sessionId;
        DataHandlerManager* manager;
    };

    static std::uint32_t RunSession(void* argument);
    std::shared_ptr<PeekStream> RemoveEntry(std::uint32_t sessionId) REQUIRES(sessionsLock);
    DataHandler* ChooseHandler(const std::shared_ptr<PeekStream>& stream);

    const std::uint32_t sessionPriority;
    /// Shows the number of sessions.
    HubStatus& status;
    Mutex handlersLock;
    /// Owns the handlers. Sessions read them without the lock, from `firstHandler` on.
    std::list<HandlerEntry> handlers GUARDED_BY(handlersLock);
    std::atomic<HandlerEntry*> firstHandler{nullptr};
    Mutex sessionsLock;
    std::deque<SessionEntry> sessions GUARDED_BY(sessionsLock);
    Event sessionEnded{false};
    const std::shared_ptr<MessageVisitor> visitor;
    const std::shared_ptr<ThreadReaper> reaper;
    const std::shared_ptr<SessionLog> errorLog;
    /// The size of the look-ahead window. It is written under handlersLock; a session that reads it
    /// meanwhile uses the old or the new size.
    std::atomic<std::uint32_t> window{32};
    std::atomic<std::uint32_t> nextSessionId{0};
};

}  // namespace vantry
