#pragma once

#include <memory>
#include <string_view>

#include "platform/notices.h"
#include "runtime/thread_reaper.h"
#include "store/property_file.h"

namespace vantry {

/// Saves lines to a property file on a thread of its own, in the order in which they were queued.
///
/// With Saves::InPlace each line is one write; with Saves::Replace all queued lines are one write.
/// From 100 queued lines on, a newer line replaces the queued one of the same property. Queue and
/// Wake are thread-safe.
class LineWriter {
public:
    /// Starts the thread. If the system can't create it, lines are kept in memory and the
    /// destructor saves them. `operatorNotices` must outlive the object.
    LineWriter(std::shared_ptr<PropertyFile> propertyFile, Saves howToSave,
               Notices& operatorNotices, ThreadReaper& reaper, std::uint32_t priority);
    /// Saves the queued lines with one write. Waits up to 5 s for the thread to do so; without a
    /// thread it writes itself, and blocks for as long as the disk takes. Lines whose write fails
    /// twice are saved in the backup or lost, and the operator is told.
    ~LineWriter();
    LineWriter(const LineWriter&) = delete;
    LineWriter& operator=(const LineWriter&) = delete;

    /// Queues a line that consists of `prefix`, "=" and `value` up to its first line feed, since a
    /// line can't contain one. Never waits for the disk. A write that fails is tried again with the
    /// next line and by the destructor, and is told to the operator, at most once a second.
    void Queue(std::string_view prefix, std::string_view value);
    /// Makes the thread finish the work that PropertyFile::Load left, even if no line is queued.
    void Wake();

private:
    /// Shared with the thread, because a write that hangs can last longer than this object.
    struct Shared;

    static std::uint32_t Run(void* argument);

    const std::shared_ptr<Shared> shared;
    std::unique_ptr<Thread> thread;
    bool threadRuns = false;
};

}  // namespace vantry
