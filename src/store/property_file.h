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
    /// The next Save writes the lines of the override and deletes the override file. Appends a
    /// sentence for the operator to `notes` for each file that is there but can't be used, for the
    /// use of the backup, and for an override.
    [[nodiscard]] bool Load(StoredLines& lines, std::vector<std::string>& notes);
    /// Completes what earlier calls couldn't write, and then writes `lines` with one write. If any
    /// of this fails, the caller passes the same lines, followed by newer ones, to a later call.
    [[nodiscard]] FileResult Save(const std::vector<PendingLine>& lines);
    /// Writes the text that the file had before a Save that found no room, with as many of `lines`
    /// as there is room for; those that make the text longest are left out first. Removes from
    /// `lines`, of which no two may have the same prefix, those that were written. Returns false,
    /// with `lines` unchanged, if not even the old text can be written, or if the lines of an
    /// override must be written first.
    [[nodiscard]] bool SaveWhatFits(std::vector<PendingLine>& lines);
    /// Writes `lines` to the backup, for the stop after a Save that failed. Returns false, with the
    /// backup unchanged, if that fails or if the next start would read the file instead.
    [[nodiscard]] bool SaveInBackup(const std::vector<PendingLine>& lines);
    /// Returns the path of the file on the machine, for messages.
    std::string ShownName() const { return Shown(names.file); }

private:
    enum class Found { Good, Missing, Damaged, Refused };

    /// Reads a file whose content is good. `result` is that of the read.
    Found ReadGood(std::u16string_view name, std::string& content, FileResult& result);
    FileResult ReadBackup(std::string& text);
    Found ReadGoodOrTell(std::u16string_view name, std::string& content,
                         std::vector<std::string>& notes);
    void ApplyOverride(std::string_view content, StoredLines& lines,
                       std::vector<std::string>& notes) REQUIRES(lock);
    FileResult FinishOverride() REQUIRES(lock);
    FileResult DeleteOverride();
    FileResult ReadText(std::string& text);
    FileResult Write(std::string text) REQUIRES(lock);
    FileResult WriteContent(std::string_view content) REQUIRES(lock);
    std::string Shown(std::u16string_view name) const;
    FileResult WriteInPlace(std::string_view content) REQUIRES(lock);

    const std::shared_ptr<FileSystem> files;
    const Saves saves;
    const PropertyFileNames names;
    const std::u16string backup;
    /// A handle to the lock that all property files of the process share.
    const Lock lock;
    /// The intended text of the file, if its write failed or hasn't been tried yet.
    std::optional<std::string> unwritten GUARDED_BY(lock);
    /// The text that the file had before the first Save that failed, until one succeeds.
    std::optional<std::string> lastWritten GUARDED_BY(lock);
    /// Whether the last Save found no room.
    bool hadNoRoom GUARDED_BY(lock) = false;
    /// Whether the override was applied, so that its file must be deleted before other lines are
    /// written.
    bool overrideIsApplied GUARDED_BY(lock) = false;
};

}  // namespace vantry
