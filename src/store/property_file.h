#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/file_system.h"
#include "platform/hub_settings.h"
#include "runtime/lock.h"
#include "store/format/property_text.h"

namespace vantry {

/// One pending change of a property file.
struct PendingLine {
    /// The beginning of the line to be replaced.
    std::string prefix;
    /// The whole new line, without a line feed.
    std::string line;
};

/// The names of the files of a store.
struct PropertyFileNames {
    std::u16string file;
    std::u16string overrideFile;
};

/// A property file, its backup and its override file. Any thread may call the operations; they
/// block for as long as the disk takes. All property files of the process share one lock, so that
/// a store that is being built never reads what the store before it is just writing.
class PropertyFile {
public:
    PropertyFile(std::shared_ptr<FileSystem> fileSystem, Saves howToSave, PropertyFileNames names);

    /// Reads the stored lines, with those of the override file applied, and makes a good file the
    /// backup. Returns false, with `lines` of no use, if neither the file nor its backup is good.
    /// The first Save after it writes the override's lines and deletes the override file.
    [[nodiscard]] bool Load(StoredLines& lines);
    /// Writes what an earlier call has left to do, and then, with one write, `lines`. Returns false
    /// if the disk refuses any of it; the caller then keeps the lines for a later call, to which it
    /// gives them in front of newer ones.
    [[nodiscard]] bool Save(const std::vector<PendingLine>& lines);

private:
    enum class Found { Good, Nothing, Refused };

    Found ReadGood(std::u16string_view name, std::string& content);
    void ApplyOverride(std::string_view content, StoredLines& lines) REQUIRES(lock);
    bool FinishOverride() REQUIRES(lock);
    bool DeleteOverride();
    bool ReadText(std::string& text);
    bool Write(std::string text) REQUIRES(lock);
    FileResult WriteInPlace(std::string_view content);

    const std::shared_ptr<FileSystem> files;
    const Saves saves;
    const PropertyFileNames names;
    const std::u16string backup;
    /// A handle to the lock that all property files of the process share.
    const Lock lock;
    /// The text that should stand in the file and whose write was refused or has yet to be made.
    std::optional<std::string> unwritten GUARDED_BY(lock);
    /// The override was applied, and its file has to go before other lines are written.
    bool overrideIsApplied GUARDED_BY(lock) = false;
};

}  // namespace vantry
