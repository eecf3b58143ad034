#pragma once

#include <map>
#include <memory>
#include <string>

#include "platform/file_system.h"
#include "simulation/random.h"

namespace vantry::simulation {

/// Files in memory, with what of them has reached the disk. Calls take their time, and fail as the
/// seed decides after SetRefused.
class SimulatedDisk final : public FileSystem {
public:
    /// The names and contents of the files.
    using Image = std::map<std::u16string, std::string, std::less<>>;

    static constexpr std::uint64_t kUnlimited = ~std::uint64_t{0};

    /// Starts with files that are on the disk.
    SimulatedDisk(std::uint64_t seed, const Image& image);

    /// Lets one in so many calls be refused from now on, none if it is 0. A write of which the
    /// second half is refused stores a part.
    void SetRefused(std::uint64_t oneIn) { refusedOneIn = oneIn; }
    /// Lets one in so many writes store a part and fail from now on, none if it is 0.
    void SetTorn(std::uint64_t oneIn) { tornOneIn = oneIn; }
    /// Lets the files take so many bytes in all; a write that needs more stores what fits.
    void SetRoom(std::uint64_t bytes) { room = bytes; }
    /// Lets the file that has this name now, if there is one, refuse every read, whatever its name
    /// is later.
    void SetUnreadable(std::u16string_view name);
    /// Blocks until a part of some bytes was written to a file whose name begins with `name`, or
    /// for so many nanoseconds. The write goes on a little later. Threads that wait at the same
    /// time have to wait for the same name.
    void AwaitHalfWrite(std::u16string_view name, std::uint64_t nanoseconds);
    /// Returns how many calls were refused so far for one of these reasons.
    std::uint64_t Refusals() const { return refusals; }
    /// Returns how many bytes the files take.
    std::uint64_t Used() const;
    /// Returns what the files hold now, as a killed process leaves them.
    Image Now() const;
    /// Returns what a power cut at this moment could leave: what was synced, and of what wasn't,
    /// some parts or nothing.
    Image AfterPowerCut();

    FileResult Open(std::u16string_view name, std::uint32_t use,
                    std::unique_ptr<File>& opened) override;
    FileResult Exists(std::u16string_view name) override;
    FileResult Delete(std::u16string_view name) override;
    FileResult Rename(std::u16string_view from, std::u16string_view to) override;
    FileResult SyncDirectory(std::u16string_view name) override;
    FileResult CanWrite(std::u16string_view name) override;
    std::string ShownDirectory(std::u16string_view name) const override;

private:
    class OpenFile;
    struct Content {
        std::string now;
        std::string synced;
        bool refusesReads = false;
    };
    using Names = std::map<std::u16string, std::shared_ptr<Content>, std::less<>>;

    /// Lets the call take its time. Returns its failure, if it is to fail.
    FileResult Begin(std::string_view what, std::u16string_view name);
    FileResult Refuse(int error);
    /// Wakes the threads that wait for it, because a part was written.
    void NoteHalfWrite(std::u16string_view name);

    Random random;
    const std::uint64_t slowOneIn;
    std::uint64_t refusedOneIn = 0;
    std::uint64_t tornOneIn = 0;
    std::uint64_t room = kUnlimited;
    std::uint64_t refusals = 0;
    /// How the name begins that AwaitHalfWrite waits for, or waited for in vain.
    std::u16string awaited;
    Names names;
    /// The entries of the directories as they are on the disk.
    Names syncedNames;
};

}  // namespace vantry::simulation
