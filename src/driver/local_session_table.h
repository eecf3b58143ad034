#pragma once

#include <cstdint>
#include <memory>
#include <unordered_map>

#include "driver/local_session.h"
#include "runtime/lock.h"

namespace vantry {

/// The open handles of the local device. Handles count up from 1 and are never given out twice.
/// Any thread may call any operation; no lock is held while a session reads or writes.
class LocalSessionTable {
public:
    /// `hubNotices` must outlive the table.
    LocalSessionTable(const Limits& localLimits, Notices& hubNotices)
        : limits(localLimits), notices(hubNotices) {}
    ~LocalSessionTable() { CloseAll(); }

    /// Returns the handle of a new session.
    std::uint32_t Open();
    /// Empty if there is no such handle.
    std::shared_ptr<LocalSession> Find(std::uint32_t handle) const;
    /// Closes the session and forgets it. False if there is no such handle.
    bool Close(std::uint32_t handle);
    /// Lets the sessions work on what their clients have sent, for 2 seconds at most, drops what is
    /// left then, and closes and forgets all of them. Blocks meanwhile.
    void CloseAll();

private:
    const Limits limits;
    Notices& notices;
    Lock lock;
    std::unordered_map<std::uint32_t, std::shared_ptr<LocalSession>> sessions GUARDED_BY(lock);
    std::uint32_t lastHandle GUARDED_BY(lock) = 0;
};

}  // namespace vantry
