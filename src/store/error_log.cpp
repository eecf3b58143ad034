#include "store/error_log.h"

#include <utility>

#include "platform/wide_text.h"
#include "property/property_factories.h"
#include "transport/stream/std_file_stream.h"
#include "wire/vocabulary/groups.h"

namespace vantry {

ErrorLog::ErrorLog(PropertyStore& store, const FileSystem& files, ThreadReaper& reaper,
                   std::uint32_t priority, std::u16string_view fileName, const NamedGuid& property)
    : fileNameProperty(
          MakeStringProperty(NarrowText(fileName), IdentityOf(property, Groups::kGeneral))) {
    store.AddProperty(fileNameProperty);
    auto file = std::make_unique<StdFileStream>(files.PathOf(fileName),
                                                FileMode::kWrite | FileMode::kAppend);
    if (file->IsOpen()) {
        writers.push_back(std::make_unique<LogWriter>(std::move(file), reaper, priority));
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
