// Loading and saving. A saved value must not be lost, whatever operation of the disk fails and
// whenever the process ends. Three rules ensure that. First, only a missing or damaged file is
// replaced; a file that can't be read at the moment is left unchanged, and lines for it are kept in
// memory. Second, the text of a failed write is kept and written first by the next one. Third, the
// lines of the override are saved with a write of their own, after which the override file is
// deleted; so they are neither lost nor applied over newer values.
//
// The content, which is the text and the check value, is composed in memory. Saves::InPlace
// overwrites the old content with one write and then cuts the file to its new length. This needs no
// second file, but if the process is killed meanwhile, the check value can be wrong; the backup of
// the last start is used then. Saves::Replace costs two syncs for each write, and leaves either the
// old file or the new one, whatever happens.

#include "store/property_file.h"

#include <utility>

namespace vantry {
namespace {

/// Returns the lock under which all property files of the process are read and written, since two
/// hubs that follow each other in one process use the same files. It is never destroyed while a
/// thread that hangs in the disk still holds a handle.
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
    // The good lines of a file that also has a line of another form are used, unless the backup has
    // other values.
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
        // If this fails, the next save reads the backup instead.
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
    // An empty file isn't a good override file, so the next start ignores it.
    std::unique_ptr<File> file;
    return files->Open(names.overrideFile, FileUse::kWrite, file) && file->Cut(0);
}

/// Reads the text that the next write changes: that of the file, or of the backup if the file is
/// missing or damaged, or an empty text if both are. Returns false if one of them can't be read at
/// the moment.
bool PropertyFile::ReadText(std::string& text) {
    std::string content;
    Found found = ReadGood(names.file, content);
    if (found == Found::Nothing) {
        found = ReadGood(backup, content);
    }
    text = found == Found::Good ? TextOfPropertyContent(content) : "";
    return found != Found::Refused;
}

/// Writes `text` to the file. If that fails, keeps it as unwritten and returns false.
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
