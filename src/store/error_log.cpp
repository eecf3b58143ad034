#include "store/error_log.h"

#include <utility>

#include "platform/wide_text.h"
#include "property/property_factories.h"
#include "wire/vocabulary/groups.h"

namespace vantry {

ErrorLog::ErrorLog(PropertyStore& store, Platform& platform, ThreadReaper& reaper,
                   std::uint32_t priority, std::u16string_view fileName, const NamedGuid& property)
    : fileNameProperty(
          MakeStringProperty(NarrowText(fileName), IdentityOf(property, Groups::kGeneral))) {
    store.AddProperty(fileNameProperty);
    auto writer = std::make_unique<LogWriter>(
        platform.files, fileName, platform.accounting->Bounds()[Bound::LogBytes], reaper, priority);
    if (writer->IsOpen()) {
        writers.push_back(std::move(writer));
    } else {
        platform.notices.Tell(platform.files->ShownDirectory(fileName) + ": " +
                              NarrowText(fileName) + " can't be opened; there is no log");
    }
}

ErrorLog::~ErrorLog() {
    closed = true;
    for (const std::unique_ptr<LogWriter>& writer : writers) {
        writer->Stop();
    }
}

void ErrorLog::Write(std::string_view message) {
    if (closed) {
        return;
    }
    for (const std::unique_ptr<LogWriter>& writer : writers) {
        writer->Write(message);
    }
}

}  // namespace vantry
