// Sessions, and how they end.
//
// Each session has a thread and an entry in the list. The thread owns its SessionStart, which owns
// the Thread object. A session ends when its stream or the visitor ends it; its thread then passes
// the Thread object to the reaper, since a thread can't destroy its own, and removes its entry as
// its last action on the manager. The destructor closes all streams, which ends the blocking calls
// of their threads, and waits until the list is empty. From then on no thread uses the manager:
// the event is set under the lock that the destructor needs to see the empty list.
//
// When the hub ends a session, the stream is closed at once, because other objects may own it for
// longer. When the peer has ended its sending side, the stream stays open, so that subscriptions
// are still served.
//
// Handlers are only ever added, so sessions go through them without a lock that all of them would
// meet at.

#include "transport/session/data_handler_manager.h"

#include <algorithm>
#include <utility>

namespace vantry {
namespace {

/// Positions from here on count as not recognised.
constexpr std::uint32_t kPositionLimit = 0xFFFF;

}  // namespace

DataHandlerManager::DataHandlerManager(std::shared_ptr<MessageVisitor> messageVisitor,
                                       std::shared_ptr<ThreadReaper> threadReaper,
                                       std::shared_ptr<SessionLog> sessionLog,
                                       std::uint32_t priority, HubStatus& hubStatus)
    : sessionPriority(priority),
      status(hubStatus),
      visitor(std::move(messageVisitor)),
      reaper(std::move(threadReaper)),
      errorLog(std::move(sessionLog)) {}

DataHandlerManager::~DataHandlerManager() {
    {
        ScopedLock guard(sessionsLock);
        for (const SessionEntry& session : sessions) {
            // Otherwise a stop would wait for every large message that waits for its turn.
            if (const std::shared_ptr<ConnectionAccount>& account = session.stream->Account()) {
                account->Dismiss();
            }
            session.stream->Close();
        }
    }
    for (;;) {
        {
            ScopedLock guard(sessionsLock);
            if (sessions.empty()) {
                return;
            }
            sessionEnded.Reset();
        }
        sessionEnded.Wait();
    }
}

void DataHandlerManager::AddHandler(std::unique_ptr<DataHandler> handler) {
    ScopedLock guard(handlersLock);
    window = std::max<std::uint32_t>(window, 2 * handler->MinimumBytes());
    std::atomic<HandlerEntry*>& end = handlers.empty() ? firstHandler : handlers.back().next;
    end = &handlers.emplace_back(std::move(handler));
}

bool DataHandlerManager::AddSession(std::shared_ptr<PeekStream> stream) {
    auto start = std::make_unique<SessionStart>();
    start->sessionId = nextSessionId.fetch_add(1);
    start->manager = this;
    start->stream = stream;
    {
        ScopedLock guard(sessionsLock);
        sessions.push_back({start->sessionId, stream});
        ++status.clients;
    }
    start->thread = reaper->MakeThread(&DataHandlerManager::RunSession, sessionPriority, "session");
    Thread& thread = *start->thread;
    SessionStart* const handedOver = start.release();
    if (thread.Start(handedOver)) {
        return true;
    }
    start.reset(handedOver);
    stream->Close();
    ScopedLock guard(sessionsLock);
    RemoveEntry(start->sessionId);
    return false;
}

std::uint32_t DataHandlerManager::RunSession(void* argument) {
    const std::unique_ptr<SessionStart> start(static_cast<SessionStart*>(argument));
    DataHandlerManager& manager = *start->manager;
    std::shared_ptr<PeekStream> stream = std::move(start->stream);
    while (manager.ProcessNext(stream) != 0) {
    }
    stream->ReleaseInput();
    if (const std::shared_ptr<ConnectionAccount>& account = stream->Account()) {
        account->Leave();
    }
    manager.reaper->Retire(std::move(start->thread));
    // The entry's reference is released after the lock, so that no stream is destroyed under it.
    // The manager may be destroyed as soon as the lock is released.
    std::shared_ptr<PeekStream> entered;
    ScopedLock guard(manager.sessionsLock);
    entered = manager.RemoveEntry(start->sessionId);
    manager.sessionEnded.Set();
    return 0;
}

std::shared_ptr<PeekStream> DataHandlerManager::RemoveEntry(std::uint32_t sessionId) {
    const auto entry = std::find_if(sessions.begin(), sessions.end(),
                                    [&](const auto& session) { return session.id == sessionId; });
    std::shared_ptr<PeekStream> stream = std::move(entry->stream);
    sessions.erase(entry);
    --status.clients;
    return stream;
}

std::uint32_t DataHandlerManager::ProcessNext(const std::shared_ptr<PeekStream>& stream) {
    DataHandler* best = nullptr;
    while (best == nullptr) {
        if (!stream->Peek(static_cast<std::int32_t>(window.load()))) {
            errorLog->Write("DataHandlerManager encountered an empty stream or unknown format");
            return 0;
        }
        best = ChooseHandler(stream);
    }
    const std::shared_ptr<DataObject> message = best->Open(stream);
    const std::uint32_t result = message ? message->Accept(*visitor) : 0;
    if (result == 0) {
        // A Subscriber or RemoteProperty may keep the stream alive after the session. Close it now
        // so that the peer is disconnected immediately.
        stream->Close();
    }
    return result;
}

DataHandler* DataHandlerManager::ChooseHandler(const std::shared_ptr<PeekStream>& stream) {
    DataHandler* best = nullptr;
    std::uint32_t limit = kPositionLimit;
    for (const HandlerEntry* entry = firstHandler; entry != nullptr; entry = entry->next) {
        const std::uint32_t position = entry->handler->Recognise(stream);
        if (position < limit) {
            best = entry->handler.get();
            limit = position;
        }
    }
    return best;
}

}  // namespace vantry
