#pragma once

#include <filesystem>
#include <string>

namespace vantry {

/// Locks a directory so that no other vantryd uses it. The lock is held on the directory itself
/// until the destructor or the end of the process, so no file is left behind. For one thread.
class DirectoryClaim {
public:
    DirectoryClaim() = default;
    ~DirectoryClaim();
    DirectoryClaim(const DirectoryClaim&) = delete;
    DirectoryClaim& operator=(const DirectoryClaim&) = delete;

    /// Creates the directory if it is missing, and locks it without waiting. Returns false, with
    /// the reason in `error`, if it can't be created or written or if another process has locked
    /// it. Its content is unchanged.
    [[nodiscard]] bool Acquire(const std::filesystem::path& directory, std::string& error);
    /// Returns whether `directory` is the directory that is locked.
    bool Covers(const std::filesystem::path& directory) const;

private:
    int descriptor = -1;
};

}  // namespace vantry
