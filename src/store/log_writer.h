#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "platform/file_system.h"
#include "runtime/thread_reaper.h"

namespace vantry {

/// One file of the log and the thread that writes to it. Write may be called by any thread.
class LogWriter {
public:
    /// Opens the file for appending and starts the thread. The file never has more than
    /// `mostFileBytes` bytes.
    LogWriter(std::shared_ptr<FileSystem> files, std::u16string_view fileName,
              std::uint64_t mostFileBytes, ThreadReaper& reaper, std::uint32_t priority);
    /// Waits up to 500 ms for the thread.
    ~LogWriter();
    LogWriter(const LogWriter&) = delete;
    LogWriter& operator=(const LogWriter&) = delete;

    /// False if the file couldn't be opened. Nothing is written then.
    bool IsOpen() const;
    /// Queues the message as a line with the time of this call; never waits for the disk. A line
    /// is dropped if 1,000 are waiting, if the file has no room for it or if the disk refuses it.
    /// Before the next line that is written, a line says how many were dropped.
    void Write(std::string_view message);
    /// Asks the thread to end, when it has written what is queued now.
    void Stop();

private:
    /// Shared with the thread, which may hang in the disk longer than this object lives.
    struct Shared;

    static std::uint32_t Run(void* argument);

    const std::shared_ptr<Shared> shared;
    std::unique_ptr<Thread> thread;
};

}  // namespace vantry
