#pragma once

#include <cstdint>
#include <memory>
#include <unordered_map>

#include "driver/local_session.h"
#include "runtime/lock.h"

namespace vantry {

/// The sessions of the open handles of the local device. Handles count up from 1 and are never used
/// again. All operations are thread-safe; no lock is held while a session reads or writes.
class LocalSessionTable {
public:
    /// `hubNotices` must outlive the table.
    LocalSessionTable(const Limits& localLimits, Notices& hubNotices)
        : limits(localLimits), notices(hubNotices) {}
    ~LocalSessionTable() { CloseAll(); }

    /// Returns the handle of a new session.
    std::uint32_t Open();
    /// Returns the session, which the caller then shares, or null if there is no such handle.
    std::shared_ptr<LocalSession> Find(std::uint32_t handle) const;
    /// Closes and removes the session. Returns false if there is no such handle.
    bool Close(std::uint32_t handle);
    /// Removes all sessions. Blocks for at most 2 seconds while they process what their clients
    /// have sent, then closes them and discards what is left.
    void CloseAll();

private:
    const Limits limits;
    Notices& notices;
    Mutex lock;
    std::unordered_map<std::uint32_t, std::shared_ptr<LocalSession>> sessions GUARDED_BY(lock);
    std::uint32_t lastHandle GUARDED_BY(lock) = 0;
};

}  // namespace vantry
