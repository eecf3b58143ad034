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

/// The hub's log: a text file to which each start adds. It has no levels and no rotation.
///
/// A line is the local time as asctime gives it, a comma, the message, a carriage return and a line
/// feed. Without a file that can be opened everything is dropped, with no word.
class ErrorLog final : public SessionLog {
public:
    /// Adds a property with the file's name to `store`, under the identity given by `property`.
    ErrorLog(PropertyStore& store, const Platform& platform, ThreadReaper& reaper,
             std::uint32_t priority, std::u16string_view fileName, const NamedGuid& property);
    /// Gives the thread 500 ms to write what waits.
    ~ErrorLog() override;

    void Write(std::string_view message) override;

private:
    const std::shared_ptr<Property> fileNameProperty;
    std::vector<std::unique_ptr<LogWriter>> writers;
    std::atomic<bool> closed{false};
};

}  // namespace vantry
