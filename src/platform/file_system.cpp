// What can be done to files by the operations that a file system has to provide. A file is replaced
// by a new one beside it that is flushed, renamed, and made durable by flushing its directory; at
// every moment there is the old file or the new one, whole.

#include "platform/file_system.h"

#include <cerrno>
#include <system_error>

namespace vantry {
namespace {

/// No file that the hub writes or needs is longer. A longer one would take the memory that the
/// bounds of docs/SECURITY.md have added up.
constexpr std::uint64_t kMostBytes = 64U << 20U;

}  // namespace

bool FileResult::IsMissing() const { return error == ENOENT; }

bool FileResult::IsNoRoom() const { return error == ENOSPC || error == EDQUOT || error == EFBIG; }

std::string FileResult::Reason() const { return std::generic_category().message(error); }

FileResult FileSystem::ReadAll(std::u16string_view name, std::string& content) {
    std::unique_ptr<File> file;
    std::uint64_t size = 0;
    if (const FileResult opened = Open(name, FileUse::kRead, file); !opened) {
        return opened;
    }
    if (const FileResult measured = file->Size(size); !measured) {
        return measured;
    }
    if (size > kMostBytes) {
        return FileResult::Refused(EFBIG);
    }
    content.resize(static_cast<std::size_t>(size));
    std::size_t count = 0;
    if (const FileResult read = file->Read(0, content, count); !read) {
        return read;
    }
    return count == size ? FileResult() : FileResult::Refused(EIO);
}

FileResult FileSystem::Replace(std::u16string_view name, std::string_view content) {
    {
        std::unique_ptr<File> file;
        FileResult result = OpenBeside(name, file);
        // An earlier attempt may have left a longer file there.
        if (result) {
            result = file->Cut(0);
        }
        if (result) {
            result = file->Write(0, content);
        }
        if (result) {
            result = file->Sync();
        }
        if (!result) {
            return result;
        }
    }
    if (const FileResult renamed = RenameBeside(name); !renamed) {
        return renamed;
    }
    return SyncDirectory(name);
}

FileResult FileSystem::OpenBeside(std::u16string_view name, std::unique_ptr<File>& opened) {
    return Open(std::u16string(name) + u".new", FileUse::kWrite | FileUse::kMake, opened);
}

FileResult FileSystem::RenameBeside(std::u16string_view name) {
    return Rename(std::u16string(name) + u".new", name);
}

FileResult FileSystem::Copy(std::u16string_view from, std::u16string_view to) {
    std::string content;
    const FileResult read = ReadAll(from, content);
    return read ? Replace(to, content) : read;
}

}  // namespace vantry
