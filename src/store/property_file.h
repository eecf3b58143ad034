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

/// A property file, its backup and its override file.
///
/// All operations are thread-safe and block for as long as the disk takes. All property files of
/// the process share one lock, which guards the activity of reading or writing them: a store that
/// is being constructed must not read a file while the previous store still writes it.
class PropertyFile {
public:
    /// Touches no file. Shares ownership of the file system.
    PropertyFile(std::shared_ptr<FileSystem> fileSystem, Saves howToSave, PropertyFileNames names);

    /// Reads the stored lines, applies those of the override file, and copies a good file to the
    /// backup. Returns false, with `lines` unspecified, if neither the file nor its backup is good.
    /// The next Save writes the lines of the override and deletes the override file.
    [[nodiscard]] bool Load(StoredLines& lines);
    /// Completes what earlier calls couldn't write, and then writes `lines` with one write. Returns
    /// false if any of this fails; the caller then passes the same lines, followed by newer ones,
    /// to a later call.
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
    /// The intended text of the file, if its write failed or hasn't been tried yet.
    std::optional<std::string> unwritten GUARDED_BY(lock);
    /// Whether the override was applied, so that its file must be deleted before other lines are
    /// written.
    bool overrideIsApplied GUARDED_BY(lock) = false;
};

}  // namespace vantry
