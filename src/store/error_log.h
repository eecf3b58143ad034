#pragma once

#include <atomic>
#include <memory>
#include <string_view>
#include <vector>

#include "platform/platform.h"
#include "platform/session_log.h"
#include "runtime/thread_reaper.h"
#include "store/log_writer.h"
#include "store/property_store.h"
#include "wire/vocabulary/named_guid.h"

namespace vantry {

/// The hub's log: a text file that each start appends to. It has no levels and no rotation.
///
/// A line is the local time in the form of asctime, a comma, the message, a carriage return and a
/// line feed. If the file can't be opened, or its thread can't be started, the hub runs without a
/// log. A file that can't be opened is reported to the operator.
class ErrorLog final : public SessionLog {
public:
    /// Opens the file, starts its thread, and adds a property with the file's name and the identity
    /// `property` to `store`. `platform` isn't used after the constructor, except for its file
    /// system, of which the log shares ownership.
    ErrorLog(PropertyStore& store, Platform& platform, ThreadReaper& reaper, std::uint32_t priority,
             std::u16string_view fileName, const NamedGuid& property);
    /// Waits up to 500 ms for the thread to write the lines that are queued.
    ~ErrorLog() override;

    /// Queues a line. Thread-safe; never waits for the disk. See LogWriter::Write.
    void Write(std::string_view message) override;

private:
    const std::shared_ptr<Property> fileNameProperty;
    std::vector<std::unique_ptr<LogWriter>> writers;
    std::atomic<bool> closed{false};
};

}  // namespace vantry
