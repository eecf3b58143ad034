// Loading and saving. A saved value must not be lost, whatever operation of the disk fails and
// whenever the process ends. Three rules ensure that. First, only a missing or damaged file is
// replaced; a file that can't be read at the moment is left unchanged, and lines for it are kept in
// memory. Second, the text of a failed write is kept and written first by the next one. Third, the
// lines of the override are saved with a write of their own, after which the override file is
// deleted; so they are neither lost nor applied over newer values. If a file can't be read or
// written until the stop, the kept lines go to the backup, which the next start then reads. If the
// disk has no room for a text, the file gets the old text again, with the new lines that fit.
//
// The content, which is the text and the check value, is composed in memory. Saves::InPlace
// overwrites the old content with one write and then cuts the file to its new length. This needs no
// second file, but if the process is killed meanwhile, the check value can be wrong; the backup of
// the last start is used then. Saves::Replace costs two syncs for each write, and leaves either the
// old file or the new one, whatever happens.

#include "store/property_file.h"

#include <algorithm>
#include <span>
#include <utility>

#include "platform/wide_text.h"

namespace vantry {
namespace {

/// Returns the lock under which all property files of the process are read and written, since two
/// hubs that follow each other in one process use the same files. It is never destroyed while a
/// thread that hangs in the disk still holds a handle.
const Lock& FilesLock() {
    static const Lock lock;
    return lock;
}

/// Sorts the lines by how long each makes the text; the one that makes it longest is the last.
void SortByGrowth(std::vector<PendingLine>& lines, const std::string& text) {
    std::vector<std::pair<std::size_t, PendingLine>> sorted;
    sorted.reserve(lines.size());
    for (PendingLine& line : lines) {
        const std::size_t length = ReplaceLine(text, line.prefix, line.line).size();
        sorted.emplace_back(length, std::move(line));
    }
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const auto& one, const auto& other) { return one.first < other.first; });
    lines.clear();
    for (auto& [length, line] : sorted) {
        lines.push_back(std::move(line));
    }
}

/// Writes the part of the content that makes the file longer. If there is no room for it, the file
/// stays as it was. A file that is written in place is good all the time then, although it is tried
/// again and again whether there is room.
FileResult MakeRoom(File& file, std::string_view content) {
    std::uint64_t size = 0;
    FileResult result = file.Size(size);
    if (result && content.size() > size) {
        result = file.Write(size, content.substr(size));
        if (!result) {
            static_cast<void>(file.Cut(size));
        }
    }
    return result;
}

std::string WithLines(std::string text, std::span<const PendingLine> lines) {
    for (const PendingLine& line : lines) {
        text = ReplaceLine(text, line.prefix, line.line);
    }
    return text;
}

}  // namespace

PropertyFile::PropertyFile(std::shared_ptr<FileSystem> fileSystem, Saves howToSave,
                           PropertyFileNames fileNames)
    : files(std::move(fileSystem)),
      saves(howToSave),
      names(std::move(fileNames)),
      backup(names.file + u".bak"),
      lock(FilesLock()) {}

bool PropertyFile::Load(StoredLines& lines, std::vector<std::string>& notes) {
    ScopedLock guard(lock);
    std::string content;
    const Found main = ReadGoodOrTell(names.file, content, notes);
    // The good lines of a file that also has a line of another form are used, unless the backup has
    // other values.
    if (main != Found::Refused) {
        static_cast<void>(ParsePropertyContent(content, lines));
    }
    if (main != Found::Good) {
        if (ReadGoodOrTell(backup, content, notes) != Found::Good ||
            !ParsePropertyContent(content, lines)) {
            return false;
        }
        notes.push_back("the values of " + Shown(backup) + " are in force");
    }
    if (main == Found::Good) {
        if (const FileResult copied = files->Replace(backup, content); !copied) {
            notes.push_back(Shown(backup) + " can't be written (" + copied.Reason() + ")");
        }
    } else if (main != Found::Refused) {
        // If this fails, the next save reads the backup instead.
        static_cast<void>(files->Replace(names.file, content));
    }
    if (main != Found::Refused) {
        ApplyOverride(TextOfPropertyContent(content), lines, notes);
    }
    return true;
}

PropertyFile::Found PropertyFile::ReadGood(std::u16string_view name, std::string& content,
                                           FileResult& result) {
    result = files->ReadAll(name, content);
    if (!result) {
        return result.IsMissing() ? Found::Missing : Found::Refused;
    }
    return IsGoodPropertyContent(content) ? Found::Good : Found::Damaged;
}

PropertyFile::Found PropertyFile::ReadGoodOrTell(std::u16string_view name, std::string& content,
                                                 std::vector<std::string>& notes) {
    FileResult result;
    const Found found = ReadGood(name, content, result);
    if (found == Found::Refused) {
        notes.push_back(Shown(name) + " can't be read (" + result.Reason() +
                        "); its values aren't in force");
    } else if (found == Found::Damaged) {
        notes.push_back(Shown(name) + " is damaged; its values aren't in force");
    }
    return found;
}

void PropertyFile::ApplyOverride(std::string_view text, StoredLines& lines,
                                 std::vector<std::string>& notes) {
    std::string content;
    StoredLines overrides;
    if (ReadGoodOrTell(names.overrideFile, content, notes) != Found::Good ||
        !ParsePropertyContent(content, overrides)) {
        return;
    }
    std::string changed(text);
    std::size_t applied = 0;
    for (const auto& [key, entry] : overrides) {
        if (const auto line = lines.find(key); line != lines.end()) {
            changed = ReplaceLine(changed, entry.prefix, entry.prefix + "=" + entry.value);
            line->second.value = entry.value;
            ++applied;
        }
    }
    notes.push_back(Shown(names.overrideFile) + " has replaced " + std::to_string(applied) +
                    " of " + std::to_string(lines.size()) + " saved values");
    if (changed != text) {
        unwritten = std::move(changed);
    }
    overrideIsApplied = true;
}

FileResult PropertyFile::Save(const std::vector<PendingLine>& lines) {
    ScopedLock guard(lock);
    if (const FileResult finished = FinishOverride(); !finished || lines.empty()) {
        return finished;
    }
    std::string text;
    if (unwritten) {
        text = *unwritten;
    } else if (const FileResult read = ReadText(text); !read) {
        return read;
    }
    const bool isFirst = !unwritten;
    const FileResult written = Write(WithLines(text, lines));
    hadNoRoom = written.IsNoRoom();
    if (written) {
        lastWritten.reset();
    } else if (isFirst) {
        lastWritten = std::move(text);
    }
    return written;
}

bool PropertyFile::SaveWhatFits(std::vector<PendingLine>& lines) {
    ScopedLock guard(lock);
    if (!lastWritten || overrideIsApplied) {
        return false;
    }
    SortByGrowth(lines, *lastWritten);
    const auto write = [&](std::size_t count) REQUIRES(lock) {
        const auto first = std::span(lines).first(count);
        return WriteContent(MakePropertyContent(WithLines(*lastWritten, first)));
    };
    std::size_t fitting = 0;
    std::size_t tooMany = lines.size();
    while (tooMany - fitting > 1) {
        const std::size_t middle = (fitting + tooMany) / 2;
        const FileResult written = write(middle);
        if (!written && !written.IsNoRoom()) {
            return false;
        }
        (written ? fitting : tooMany) = middle;
    }
    // The last try may have been one without room, and on a new machine there is no old text.
    if ((fitting == 0 && lastWritten->empty()) || !write(fitting)) {
        return false;
    }
    lines.erase(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(fitting));
    unwritten.reset();
    lastWritten.reset();
    return true;
}

bool PropertyFile::SaveInBackup(const std::vector<PendingLine>& lines) {
    ScopedLock guard(lock);
    std::string text;
    FileResult result;
    // The next start copies a good file to the backup, and applies the override over the lines.
    if (overrideIsApplied || ReadGood(names.file, text, result) == Found::Good ||
        !ReadBackup(text)) {
        return false;
    }
    text = WithLines(std::move(text), lines);
    return static_cast<bool>(files->Replace(backup, MakePropertyContent(text)));
}

FileResult PropertyFile::FinishOverride() {
    FileResult result;
    if (overrideIsApplied) {
        if (unwritten) {
            result = Write(*unwritten);
        }
        if (result) {
            result = DeleteOverride();
        }
        overrideIsApplied = !result;
    }
    return result;
}

FileResult PropertyFile::DeleteOverride() {
    FileResult result = files->Delete(names.overrideFile);
    if (result || result.IsMissing()) {
        return {};
    }
    // An empty file isn't a good override file, so the next start ignores it.
    std::unique_ptr<File> file;
    result = files->Open(names.overrideFile, FileUse::kWrite, file);
    return result ? file->Cut(0) : result;
}

/// Reads the text that the next write changes: that of the file, or of the backup if the file is
/// missing or damaged, or an empty text if both are. Fails if one of them can't be read at the
/// moment.
FileResult PropertyFile::ReadText(std::string& text) {
    std::string content;
    FileResult result;
    const Found found = ReadGood(names.file, content, result);
    if (found == Found::Missing || found == Found::Damaged) {
        return ReadBackup(text);
    }
    text = TextOfPropertyContent(content);
    return result;
}

FileResult PropertyFile::ReadBackup(std::string& text) {
    std::string content;
    FileResult result;
    const Found found = ReadGood(backup, content, result);
    text = found == Found::Good ? TextOfPropertyContent(content) : "";
    return found == Found::Refused ? result : FileResult();
}

/// Writes `text` to the file, or keeps it as unwritten if that fails.
FileResult PropertyFile::Write(std::string text) {
    const FileResult written = WriteContent(MakePropertyContent(text));
    unwritten.reset();
    if (!written) {
        unwritten = std::move(text);
    }
    return written;
}

std::string PropertyFile::Shown(std::u16string_view name) const {
    return files->ShownDirectory(name) + "/" +
           NarrowText(name.substr(name.find_last_of(u"/\\") + 1));
}

FileResult PropertyFile::WriteContent(std::string_view content) {
    return saves == Saves::Replace ? files->Replace(names.file, content) : WriteInPlace(content);
}

FileResult PropertyFile::WriteInPlace(std::string_view content) {
    std::unique_ptr<File> file;
    FileResult result = files->Open(names.file, FileUse::kWrite | FileUse::kMake, file);
    if (result && hadNoRoom) {
        result = MakeRoom(*file, content);
    }
    if (result) {
        result = file->Write(0, content);
    }
    if (result) {
        result = file->Cut(content.size());
    }
    return result;
}

}  // namespace vantry
