#pragma once

#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "platform/file_system.h"
#include "property/property_catalog.h"
#include "property/string_property.h"
#include "store/line_writer.h"
#include "store/property_file.h"

namespace vantry {

/// Brings stored values into the catalog, keeps those that nobody has asked for yet, and saves
/// changes. Any thread may call it.
class PropertyFileWriter {
public:
    PropertyFileWriter(const FileSystem& fileSystem, ThreadReaper& reaper, std::uint32_t priority)
        : files(fileSystem), lines(fileSystem, reaper, priority) {}

    /// Loads the file, or its backup if it is damaged, and applies the override file, which is
    /// deleted then. Values go quietly to the properties of `catalog`, or wait for theirs. A good
    /// file becomes the backup. False, with nothing applied, if neither file is good.
    [[nodiscard]] bool Load(const PropertyCatalog& catalog, std::u16string_view filePath,
                            std::u16string_view overridePath);
    /// The stored value that waits under this catalog key, which is handed over; else empty.
    std::shared_ptr<StringProperty> ClaimValue(const std::string& key);
    /// Queues the property's line with its present value.
    void SaveProperty(const Property& property, std::u16string_view path);

private:
    bool ReadMainFile(std::u16string_view filePath, StoredLines& main);
    void ApplyOverride(std::u16string_view filePath, std::u16string_view overridePath,
                       StoredLines& main);
    void Distribute(const PropertyCatalog& catalog, const StoredLines& main);

    const FileSystem& files;
    Lock loadedLock;
    std::map<std::string, std::shared_ptr<StringProperty>> loadedValues GUARDED_BY(loadedLock);
    LineWriter lines;
};

}  // namespace vantry
