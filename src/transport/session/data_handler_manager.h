#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <memory>
#include <vector>

#include "platform/hub_status.h"
#include "platform/session_log.h"
#include "runtime/event.h"
#include "runtime/lock.h"
#include "runtime/thread_reaper.h"
#include "transport/session/data_handler.h"
#include "transport/session/message_visitor.h"
#include "transport/stream/peek_stream.h"

namespace vantry {

/// Turns connections into messages: a thread for each stream finds the next message in it, hands
/// it to the visitor, and starts over until the stream or the visitor ends it.
///
/// The destructor closes every session's stream and returns when all their threads have left.
class DataHandlerManager {
public:
    DataHandlerManager(std::shared_ptr<MessageVisitor> messageVisitor,
                       std::shared_ptr<ThreadReaper> threadReaper,
                       std::shared_ptr<SessionLog> sessionLog, std::uint32_t priority,
                       HubStatus& hubStatus);
    ~DataHandlerManager();
    DataHandlerManager(const DataHandlerManager&) = delete;
    DataHandlerManager& operator=(const DataHandlerManager&) = delete;

    /// Takes over a handler. Of those that recognise something, the one with the lowest position
    /// gets the stream, the earlier one among equals.
    void AddHandler(std::unique_ptr<DataHandler> handler);
    /// Serves the stream on a thread of its own. False if the system has no thread to give; the
    /// stream is closed then.
    bool AddSession(std::shared_ptr<PeekStream> stream);
    /// One turn: waits for a message, throwing away what no handler recognises, and hands it to
    /// the visitor. 0 ends the session; where the hub's own side ended it, the stream is closed.
    std::uint32_t ProcessNext(const std::shared_ptr<PeekStream>& stream);

private:
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
    /// Is told how many sessions there are.
    HubStatus& status;
    Lock handlersLock;
    std::vector<std::unique_ptr<DataHandler>> handlers GUARDED_BY(handlersLock);
    Lock sessionsLock;
    std::deque<SessionEntry> sessions GUARDED_BY(sessionsLock);
    Event sessionEnded{false};
    const std::shared_ptr<MessageVisitor> visitor;
    const std::shared_ptr<ThreadReaper> reaper;
    const std::shared_ptr<SessionLog> errorLog;
    /// Written under handlersLock; a session that looks meanwhile sees the old or the new size.
    std::atomic<std::uint32_t> window{32};
    std::atomic<std::uint32_t> nextSessionId{0};
};

}  // namespace vantry
