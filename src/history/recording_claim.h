#pragma once

#include <filesystem>

#include "client/result.h"

namespace vantry::history {

/// Claims a history file, so that no other recorder writes to it. The claim is a lock on a file
/// beside it, which stays behind, and ends with the object or the process. It belongs to one thread
/// at a time.
class RecordingClaim {
public:
    /// Returns Refused if another recorder holds the claim or the lock file can't be created.
    static client::Result<RecordingClaim> Take(const std::filesystem::path& history);
    ~RecordingClaim();
    RecordingClaim(RecordingClaim&& other) noexcept;
    RecordingClaim& operator=(RecordingClaim&&) = delete;

private:
    explicit RecordingClaim(int locked) : descriptor(locked) {}

    int descriptor;
};

}  // namespace vantry::history
