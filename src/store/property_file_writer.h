#pragma once

#include <map>
#include <memory>
#include <string>

#include "platform/platform.h"
#include "property/property_catalog.h"
#include "property/string_property.h"
#include "store/line_writer.h"
#include "store/property_file.h"

namespace vantry {

/// Brings stored values into the catalog, keeps those that nobody has asked for yet, and saves
/// changes. Any thread may call it.
class PropertyFileWriter {
public:
    /// `platform` says how files are written; its file system is kept as long as it is needed.
    PropertyFileWriter(const Platform& platform, ThreadReaper& reaper, std::uint32_t priority,
                       PropertyFileNames names)
        : file(std::make_shared<PropertyFile>(platform.files, platform.settings.saves,
                                              std::move(names))),
          lines(file, platform.settings.saves, reaper, priority) {}

    /// Loads the stored values. They go quietly to the properties of `catalog`, or wait for theirs.
    /// Returns false, with nothing applied, if neither the file nor its backup is good.
    [[nodiscard]] bool Load(const PropertyCatalog& catalog);
    /// Hands over the stored value that waits under this catalog key; empty if there is none.
    std::shared_ptr<StringProperty> ClaimValue(const std::string& key);
    /// Queues the property's line with its present value.
    void SaveProperty(const Property& property);

private:
    void Distribute(const PropertyCatalog& catalog, const StoredLines& stored);

    Lock loadedLock;
    std::map<std::string, std::shared_ptr<StringProperty>> loadedValues GUARDED_BY(loadedLock);
    const std::shared_ptr<PropertyFile> file;
    LineWriter lines;
};

}  // namespace vantry
