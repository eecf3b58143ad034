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

/// Gives stored values to properties, keeps the values of properties that aren't registered yet,
/// and queues changes for saving. The writing itself is done by LineWriter. All operations are
/// thread-safe.
class PropertyFileWriter {
public:
    /// Starts the thread of the LineWriter, which says what happens if that fails. `platform`
    /// gives the way of saving and the file system, of which this object shares ownership. Its
    /// notices must outlive the object.
    PropertyFileWriter(Platform& platform, ThreadReaper& reaper, std::uint32_t priority,
                       PropertyFileNames names)
        : notices(platform.notices),
          file(std::make_shared<PropertyFile>(platform.files, platform.settings.saves,
                                              std::move(names))),
          lines(file, platform.settings.saves, notices, reaper, priority) {}

    /// Loads the stored values. Each is assigned to its property in `catalog` without calling
    /// callbacks, or kept for ClaimValue if there is no such property. Returns false, with nothing
    /// changed, if neither the file nor its backup is good. Tells the operator which files can't be
    /// used. Blocks for the disk.
    [[nodiscard]] bool Load(const PropertyCatalog& catalog);
    /// Removes and returns the kept value with this catalog key. Returns null if there is none.
    [[nodiscard]] std::shared_ptr<StringProperty> ClaimValue(const std::string& key);
    /// Queues a line with the current value of the property. Never waits for the disk.
    void SaveProperty(const Property& property);

private:
    /// Assigns or keeps each stored value.
    void Distribute(const PropertyCatalog& catalog, const StoredLines& stored);

    Notices& notices;
    Mutex loadedLock;
    std::map<std::string, std::shared_ptr<StringProperty>> loadedValues GUARDED_BY(loadedLock);
    const std::shared_ptr<PropertyFile> file;
    LineWriter lines;
};

}  // namespace vantry
