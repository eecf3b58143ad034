#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "runtime/thread_reaper.h"
#include "transport/stream/stream.h"

namespace vantry {

/// One output of the log and the thread that writes to it. Write may be called by any thread.
class LogWriter {
public:
    LogWriter(std::unique_ptr<Stream> output, ThreadReaper& reaper, std::uint32_t priority);
    /// Waits up to 500 ms for the thread.
    ~LogWriter();
    LogWriter(const LogWriter&) = delete;
    LogWriter& operator=(const LogWriter&) = delete;

    /// Queues the message as a line with the time of this call. A line that the output refuses is
    /// lost, and the next one is tried.
    void Write(std::string_view message);
    /// Asks the thread to end, when it has written what is queued now.
    void Stop();

private:
    /// Shared with the thread, which may hang in the output longer than this object lives.
    struct Shared;

    static std::uint32_t Run(void* argument);

    const std::shared_ptr<Shared> shared;
    std::unique_ptr<Thread> thread;
};

}  // namespace vantry
