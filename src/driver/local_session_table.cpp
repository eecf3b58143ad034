#include "driver/local_session_table.h"

namespace vantry {

std::uint32_t LocalSessionTable::Open() {
    ScopedLock guard(lock);
    ++lastHandle;
    sessions.emplace(lastHandle, std::make_shared<LocalSession>());
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
    ScopedLock guard(lock);
    for (const auto& [handle, session] : sessions) {
        session->Close();
    }
    sessions.clear();
}

}  // namespace vantry
