#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "runtime/native_thread.h"

namespace vantry {

/// Writes lines to standard error on a thread of its own, because a pipe or a terminal whose reader
/// has stopped blocks whoever writes to it. All operations are thread-safe.
///
/// At most 100 lines wait for the reader. Further ones are left out; their number is written as a
/// line of its own as soon as the reader goes on.
class StandardErrorLines {
public:
    /// `prefix` stands in front of each line.
    explicit StandardErrorLines(std::string prefix);
    /// Waits up to 1 s until the lines are written. Drops what nobody has read by then.
    ~StandardErrorLines();
    StandardErrorLines(const StandardErrorLines&) = delete;
    StandardErrorLines& operator=(const StandardErrorLines&) = delete;

    /// Replaces the prefix of later lines.
    void SetPrefix(std::string prefix);
    /// Queues a line, which has no line end. Doesn't wait. If the system has no thread for it, the
    /// line waits for one that a later call can start.
    void Write(std::string_view line, bool hasPrefix = true);
    /// Blocks until all lines are written or the time has passed.
    void Flush(std::uint32_t milliseconds);

private:
    /// Shared with the thread, because a write that nobody reads can last longer than this object.
    struct Shared;

    const std::shared_ptr<Shared> shared;
    NativeThread thread;
};

}  // namespace vantry
