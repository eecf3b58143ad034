#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/file_system.h"
#include "runtime/event_flags.h"
#include "runtime/lock.h"
#include "runtime/thread_reaper.h"

namespace vantry {

/// One pending change of a property file.
struct WriteTask {
    /// The beginning of the line to be replaced.
    std::string prefix;
    /// The whole new line, without a line feed.
    std::string line;
    std::u16string path;
};

/// The thread that changes property files: for each queued line it reads the file, replaces the
/// line and writes the file anew, in the order of queueing and without merging.
///
/// The disk may refuse. Then the text that should stand in the file is kept, and the next line
/// goes into that text, so the file is whole again as soon as a write succeeds. Queue may be called
/// by any thread and never waits for the file. The destructor gives the thread 500 ms for what is
/// queued; what is left then is lost.
class LineWriter {
public:
    LineWriter(const FileSystem& files, ThreadReaper& reaper, std::uint32_t priority);
    ~LineWriter();
    LineWriter(const LineWriter&) = delete;
    LineWriter& operator=(const LineWriter&) = delete;

    void Queue(std::string_view prefix, std::string_view value, std::u16string_view path);
    /// Has the next line of the file begin a new one, whatever stands there. The caller holds the
    /// lock of the files.
    void StartAnew(std::u16string_view path);
    /// Held by the thread while it works on a file. For whoever reads files that it may write.
    const Lock& FilesLock() const;

private:
    /// Shared with the thread, which may hang in the disk longer than this object lives.
    struct Shared;

    static std::uint32_t Run(void* argument);

    const std::shared_ptr<Shared> shared;
    std::unique_ptr<Thread> thread;
};

}  // namespace vantry
