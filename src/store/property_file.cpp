// Loading and saving, with one aim: whatever the disk refuses and whenever the process ends, a
// value that was saved is not lost. Three rules serve it. Only a missing or a damaged file is
// replaced; a file that can't be read now is left alone, and what should go into it waits. What a
// refused write should have left in the file is kept and written first by the next one. And the
// override's lines are a write of their own, after which its file goes, so that it is never lost
// between the two and never applied over newer values.
//
// Text and check value are put together in memory. In place they overwrite the old content with one
// write, after which the rest is cut off: no second file is needed, but a kill can leave a file
// that its check value betrays, and then the backup of the last start counts. Saves::Replace costs
// two syncs for each write and leaves the old file or the new one whatever happens.

#include "store/property_file.h"

#include <utility>

namespace vantry {
namespace {

/// Keeps the reading and the writing of property files apart, also when two hubs of one process
/// take turns. Shared, so that a writer that hangs in the disk never holds a dead lock.
const Lock& FilesLock() {
    static const Lock lock;
    return lock;
}

}  // namespace

PropertyFile::PropertyFile(std::shared_ptr<FileSystem> fileSystem, Saves howToSave,
                           PropertyFileNames fileNames)
    : files(std::move(fileSystem)),
      saves(howToSave),
      names(std::move(fileNames)),
      backup(names.file + u".bak"),
      lock(FilesLock()) {}

bool PropertyFile::Load(StoredLines& lines) {
    ScopedLock guard(lock);
    std::string content;
    const Found main = ReadGood(names.file, content);
    // The good lines of a file with a line of another form count as far as the backup doesn't say
    // otherwise.
    if (main != Found::Refused) {
        static_cast<void>(ParsePropertyContent(content, lines));
    }
    if (main != Found::Good &&
        (ReadGood(backup, content) != Found::Good || !ParsePropertyContent(content, lines))) {
        return false;
    }
    if (main == Found::Good) {
        static_cast<void>(files->Replace(backup, content));
    } else if (main == Found::Nothing) {
        // If this is refused, the next save finds the backup where it stands.
        static_cast<void>(files->Replace(names.file, content));
    }
    if (main != Found::Refused) {
        ApplyOverride(TextOfPropertyContent(content), lines);
    }
    return true;
}

PropertyFile::Found PropertyFile::ReadGood(std::u16string_view name, std::string& content) {
    const FileResult read = files->ReadAll(name, content);
    if (!read) {
        return read.IsMissing() ? Found::Nothing : Found::Refused;
    }
    return IsGoodPropertyContent(content) ? Found::Good : Found::Nothing;
}

void PropertyFile::ApplyOverride(std::string_view text, StoredLines& lines) {
    std::string content;
    StoredLines overrides;
    if (ReadGood(names.overrideFile, content) != Found::Good ||
        !ParsePropertyContent(content, overrides)) {
        return;
    }
    std::string changed(text);
    for (const auto& [key, entry] : overrides) {
        if (const auto line = lines.find(key); line != lines.end()) {
            changed = ReplaceLine(changed, entry.prefix, entry.prefix + "=" + entry.value);
            line->second.value = entry.value;
        }
    }
    if (changed != text) {
        unwritten = std::move(changed);
    }
    overrideIsApplied = true;
}

bool PropertyFile::Save(const std::vector<PendingLine>& lines) {
    ScopedLock guard(lock);
    if (!FinishOverride()) {
        return false;
    }
    if (lines.empty()) {
        return true;
    }
    std::string text;
    if (unwritten) {
        text = *unwritten;
    } else if (!ReadText(text)) {
        return false;
    }
    for (const PendingLine& line : lines) {
        text = ReplaceLine(text, line.prefix, line.line);
    }
    return Write(std::move(text));
}

bool PropertyFile::FinishOverride() {
    if (!overrideIsApplied) {
        return true;
    }
    if ((unwritten && !Write(*unwritten)) || !DeleteOverride()) {
        return false;
    }
    overrideIsApplied = false;
    return true;
}

bool PropertyFile::DeleteOverride() {
    const FileResult deleted = files->Delete(names.overrideFile);
    if (deleted || deleted.IsMissing()) {
        return true;
    }
    // An empty file isn't a good one, so it does no harm at the next start.
    std::unique_ptr<File> file;
    return files->Open(names.overrideFile, FileUse::kWrite, file) && file->Cut(0);
}

/// Reads the text that the next write builds on: that of the file, or of the backup in place of a
/// missing or damaged file, or nothing if both are. False if one of them can't be read now.
bool PropertyFile::ReadText(std::string& text) {
    std::string content;
    Found found = ReadGood(names.file, content);
    if (found == Found::Nothing) {
        found = ReadGood(backup, content);
    }
    text = found == Found::Good ? TextOfPropertyContent(content) : "";
    return found != Found::Refused;
}

/// Makes `text` the text of the file, or keeps it as unwritten and returns false.
bool PropertyFile::Write(std::string text) {
    const std::string content = MakePropertyContent(text);
    const FileResult written =
        saves == Saves::Replace ? files->Replace(names.file, content) : WriteInPlace(content);
    unwritten.reset();
    if (!written) {
        unwritten = std::move(text);
    }
    return static_cast<bool>(written);
}

FileResult PropertyFile::WriteInPlace(std::string_view content) {
    std::unique_ptr<File> file;
    FileResult result = files->Open(names.file, FileUse::kWrite | FileUse::kMake, file);
    if (result) {
        result = file->Write(0, content);
    }
    if (result) {
        result = file->Cut(content.size());
    }
    return result;
}

}  // namespace vantry
