#pragma once

#include <filesystem>
#include <string>

namespace vantry {

/// A directory that this process alone serves, for as long as the object lives. The claim is a lock
/// on the directory itself, so it leaves no file behind and ends with the process.
class DirectoryClaim {
public:
    DirectoryClaim() = default;
    ~DirectoryClaim();
    DirectoryClaim(const DirectoryClaim&) = delete;
    DirectoryClaim& operator=(const DirectoryClaim&) = delete;

    /// Makes the directory and claims it. False, with the reason in `error`, if it can't be made or
    /// written or if another process has it; nothing in it is touched.
    [[nodiscard]] bool Take(const std::filesystem::path& directory, std::string& error);
    /// Whether `directory` is the one that is claimed.
    bool Covers(const std::filesystem::path& directory) const;

private:
    int descriptor = -1;
};

}  // namespace vantry
