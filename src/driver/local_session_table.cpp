#include "driver/local_session_table.h"

#include "runtime/clock.h"
#include "runtime/event.h"

namespace vantry {
namespace {

constexpr std::uint64_t kBacklogNanoseconds = 2000 * kNanosecondsPerMillisecond;
constexpr std::uint32_t kLookMilliseconds = 2;

}  // namespace

std::uint32_t LocalSessionTable::Open() {
    ScopedLock guard(lock);
    ++lastHandle;
    sessions.emplace(lastHandle, std::make_shared<LocalSession>(limits, notices));
    return lastHandle;
}

std::shared_ptr<LocalSession> LocalSessionTable::Find(std::uint32_t handle) const {
    ScopedLock guard(lock);
    const auto found = sessions.find(handle);
    return found == sessions.end() ? nullptr : found->second;
}

bool LocalSessionTable::Close(std::uint32_t handle) {
    ScopedLock guard(lock);
    const auto found = sessions.find(handle);
    if (found == sessions.end()) {
        return false;
    }
    found->second->Close();
    sessions.erase(found);
    return true;
}

void LocalSessionTable::CloseAll() {
    std::unordered_map<std::uint32_t, std::shared_ptr<LocalSession>> closing;
    {
        ScopedLock guard(lock);
        closing.swap(sessions);
    }
    for (const auto& [handle, session] : closing) {
        session->EndInput();
    }
    const std::uint64_t deadline = NowNanoseconds() + kBacklogNanoseconds;
    for (const auto& [handle, session] : closing) {
        while (!session->IsIdle() && NowNanoseconds() < deadline) {
            Event neverSet(false);
            static_cast<void>(neverSet.Wait(kLookMilliseconds));
        }
        session->Abandon();
    }
}

}  // namespace vantry
