#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "platform/file_system.h"
#include "runtime/thread_reaper.h"

namespace vantry {

/// Appends lines to one file of the log on a thread of its own. All operations are thread-safe.
class LogWriter {
public:
    /// Opens the file for appending and starts the thread. If the system can't create the thread,
    /// lines are queued up to the bound of Write and never written. The file never grows beyond
    /// `mostFileBytes` bytes. Shares ownership of `files`.
    LogWriter(std::shared_ptr<FileSystem> files, std::u16string_view fileName,
              std::uint64_t mostFileBytes, ThreadReaper& reaper, std::uint32_t priority);
    /// Waits up to 500 ms for the thread to write the queued lines and end. Lines that are still
    /// queued then may be lost.
    ~LogWriter();
    LogWriter(const LogWriter&) = delete;
    LogWriter& operator=(const LogWriter&) = delete;

    /// Returns false if the file couldn't be opened. Nothing is written in that case.
    bool IsOpen() const;
    /// Queues the message as a line with the time of this call. Never waits for the disk. A line is
    /// dropped if 1,000 lines are queued, if the file would exceed its bound or if the write fails.
    /// The next line that is written follows a line with the number of dropped lines.
    void Write(std::string_view message);
    /// Asks the thread to write the queued lines and end. Doesn't wait for it.
    void Stop();

private:
    /// Shared with the thread, because a write that hangs can last longer than this object.
    struct Shared;

    static std::uint32_t Run(void* argument);

    const std::shared_ptr<Shared> shared;
    std::unique_ptr<Thread> thread;
};

}  // namespace vantry
