#pragma once

#include <atomic>
#include <map>
#include <string>

#include "platform/file_system.h"
#include "runtime/lock.h"

namespace vantry::test {

/// What the chosen call of a FaultyFileSystem does.
enum class Fault {
    /// It is refused.
    Refuse,
    /// A write stores half of its bytes and is refused; any other call is refused.
    CutShort,
    /// The process is killed: a write stores half of its bytes, any other call and all later ones
    /// do
    /// nothing.
    Kill,
    /// The same, and what wasn't synced is lost.
    PowerCut,
};

/// Files in memory whose n-th call fails. Any thread may call the operations.
class FaultyFileSystem final : public FileSystem {
public:
    /// Puts a file there that is on the disk.
    void Put(const std::u16string& name, const std::string& content);
    /// Returns what a file holds; "" if there is none.
    std::string Content(const std::u16string& name) const;

    /// Lets the `call`-th call from now on, counted from 1, fail.
    void FailFrom(Fault fault, int call);
    /// Lets every call from now on be refused until Recover, as a full or absent disk does.
    void RefuseAll();
    /// Lets every file be cut off at so many bytes from now on until Recover.
    void LeaveRoomFor(std::size_t bytes);
    /// Lets every call from now on block until Recover. No other operation may be used meanwhile.
    void HangAll();
    /// Says whether the call that should fail has come.
    bool HasFailed() const { return calls >= failingCall; }
    /// Starts the machine again: no call fails, and after a power cut only what was synced is left.
    void Recover();

    FileResult Open(std::u16string_view name, std::uint32_t use,
                    std::unique_ptr<File>& opened) override;
    FileResult Exists(std::u16string_view name) override;
    FileResult Delete(std::u16string_view name) override;
    FileResult Rename(std::u16string_view from, std::u16string_view to) override;
    FileResult SyncDirectory(std::u16string_view name) override;
    FileResult CanWrite(std::u16string_view name) override;
    std::string ShownDirectory(std::u16string_view) const override { return "/disk/Store"; }

private:
    class MemoryFile;
    static constexpr std::size_t kNoEnd = ~std::size_t{0};

    struct Contents {
        std::string now;
        std::string synced;
    };

    /// Counts a call and returns what it has to fail with.
    FileResult Next();

    mutable Mutex lock;
    std::map<std::u16string, std::shared_ptr<Contents>, std::less<>> entries GUARDED_BY(lock);
    std::atomic<int> calls{0};
    std::atomic<int> failingCall{1 << 30};
    std::atomic<Fault> kind{Fault::Refuse};
    std::atomic<bool> refusesAll{false};
    std::atomic<std::size_t> room{kNoEnd};
    std::atomic<bool> hangsAll{false};
};

}  // namespace vantry::test
