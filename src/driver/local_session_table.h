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
    ~LocalSessionTable() { CloseAll(); }

    std::uint32_t Open();
    /// Empty if there is no such handle.
    std::shared_ptr<LocalSession> Find(std::uint32_t handle) const;
    /// Closes the session and forgets it. False if there is no such handle.
    bool Close(std::uint32_t handle);
    void CloseAll();

private:
    Lock lock;
    std::unordered_map<std::uint32_t, std::shared_ptr<LocalSession>> sessions GUARDED_BY(lock);
    std::uint32_t lastHandle GUARDED_BY(lock) = 0;
};

}  // namespace vantry
