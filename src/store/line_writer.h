#pragma once

#include <memory>
#include <string_view>

#include "runtime/thread_reaper.h"
#include "store/property_file.h"

namespace vantry {

/// The thread that saves lines to a property file, in the order in which they were queued. In place
/// each line is a write of its own until 100 wait; with Saves::Replace all that wait are one.
class LineWriter {
public:
    LineWriter(std::shared_ptr<PropertyFile> propertyFile, Saves howToSave, ThreadReaper& reaper,
               std::uint32_t priority);
    /// Saves what waits with one write, for which it gives the thread 5 s. What the disk refuses
    /// then is lost.
    ~LineWriter();
    LineWriter(const LineWriter&) = delete;
    LineWriter& operator=(const LineWriter&) = delete;

    /// Queues the line that begins with `prefix`, with `value` up to its first line feed, since a
    /// line can't hold one. Any thread may call it; it never waits for the disk.
    void Queue(std::string_view prefix, std::string_view value);
    /// Lets the thread do what the loading of the file has left to do.
    void Wake();

private:
    /// Shared with the thread, which may hang in the disk longer than this object lives.
    struct Shared;

    static std::uint32_t Run(void* argument);

    const std::shared_ptr<Shared> shared;
    std::unique_ptr<Thread> thread;
    bool threadRuns = false;
};

}  // namespace vantry
