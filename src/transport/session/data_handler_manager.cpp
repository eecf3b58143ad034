#include "transport/session/data_handler_manager.h"

#include <algorithm>
#include <utility>

namespace vantry {
namespace {

/// A position that far out never wins.
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
    handlers.push_back(std::move(handler));
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
    if (const std::shared_ptr<ConnectionAccount>& account = stream->Account()) {
        account->Leave();
    }
    manager.reaper->Retire(std::move(start->thread));
    // The stream goes when no lock is held. The manager may go as soon as the lock is let go.
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
        // Others may hold the stream for long; the peer must see at once that it is over.
        stream->Close();
    }
    return result;
}

DataHandler* DataHandlerManager::ChooseHandler(const std::shared_ptr<PeekStream>& stream) {
    DataHandler* best = nullptr;
    std::uint32_t limit = kPositionLimit;
    ScopedLock guard(handlersLock);
    for (const std::unique_ptr<DataHandler>& handler : handlers) {
        const std::uint32_t position = handler->Recognise(stream);
        if (position < limit) {
            best = handler.get();
            limit = position;
        }
    }
    return best;
}

}  // namespace vantry
