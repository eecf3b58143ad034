// Files by system calls on descriptors.
//
// Every failure keeps its error number, because the store has to distinguish a missing file from
// one that can't be read at the moment. Nothing is buffered in the process: when Write returns, the
// kernel has the bytes. Reads and writes continue after a signal and after a partial transfer.
//
// A name is turned into a path step by step, and each ".." removes a step of the name itself, so it
// can't leave the root directory.

#include "platform/posix_file_system.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <string>

#include "platform/wide_text.h"

namespace vantry {
namespace {

constexpr mode_t kNewFileMode = 0666;

FileResult ResultOf(int returned) {
    return returned < 0 ? FileResult::Refused(errno) : FileResult();
}

class PosixFile final : public File {
public:
    PosixFile(int fileDescriptor, bool appends) : descriptor(fileDescriptor), appending(appends) {}
    ~PosixFile() override { close(descriptor); }

    FileResult Read(std::uint64_t offset, std::span<char> buffer, std::size_t& count) override {
        count = 0;
        while (count < buffer.size()) {
            const ssize_t got = pread(descriptor, buffer.data() + count, buffer.size() - count,
                                      static_cast<off_t>(offset + count));
            if (got < 0 && errno != EINTR) {
                return FileResult::Refused(errno);
            }
            if (got == 0) {
                break;
            }
            count += static_cast<std::size_t>(std::max<ssize_t>(got, 0));
        }
        return {};
    }

    FileResult Write(std::uint64_t offset, std::string_view bytes) override {
        while (!bytes.empty()) {
            const ssize_t taken = appending ? write(descriptor, bytes.data(), bytes.size())
                                            : pwrite(descriptor, bytes.data(), bytes.size(),
                                                     static_cast<off_t>(offset));
            if (taken < 0 && errno != EINTR) {
                return FileResult::Refused(errno);
            }
            const auto count = static_cast<std::size_t>(std::max<ssize_t>(taken, 0));
            offset += count;
            bytes.remove_prefix(count);
        }
        return {};
    }

    FileResult Size(std::uint64_t& bytes) override {
        struct stat status {};
        const FileResult result = ResultOf(fstat(descriptor, &status));
        bytes = static_cast<std::uint64_t>(std::max<off_t>(status.st_size, 0));
        return result;
    }

    FileResult Cut(std::uint64_t bytes) override {
        return ResultOf(ftruncate(descriptor, static_cast<off_t>(bytes)));
    }

    FileResult Sync() override { return ResultOf(fsync(descriptor)); }

private:
    const int descriptor;
    const bool appending;
};

int OpenFlags(std::uint32_t use) {
    // Without O_NONBLOCK, opening a named pipe would block until its other end is opened.
    int flags = O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
    const bool writes = (use & (FileUse::kWrite | FileUse::kAppend)) != 0;
    const bool reads = (use & FileUse::kRead) != 0;
    flags |= writes && reads ? O_RDWR : writes ? O_WRONLY : O_RDONLY;
    flags |= (use & FileUse::kAppend) != 0 ? O_APPEND : 0;
    flags |= (use & FileUse::kMake) != 0 ? O_CREAT : 0;
    return flags;
}

FileResult OpenPath(const std::filesystem::path& path, std::uint32_t use,
                    std::unique_ptr<File>& opened) {
    const int descriptor = open(path.c_str(), OpenFlags(use), kNewFileMode);
    if (descriptor < 0) {
        return FileResult::Refused(errno);
    }
    auto file = std::make_unique<PosixFile>(descriptor, (use & FileUse::kAppend) != 0);
    struct stat status {};
    if (fstat(descriptor, &status) == 0 && S_ISDIR(status.st_mode)) {
        return FileResult::Refused(EISDIR);
    }
    opened = std::move(file);
    return {};
}

}  // namespace

std::filesystem::path PosixFileSystem::PathOf(std::u16string_view name) const {
    std::string slashed = Utf8Text(name);
    std::replace(slashed.begin(), slashed.end(), '\\', '/');
    std::filesystem::path below;
    for (const std::filesystem::path& step : std::filesystem::path(slashed).relative_path()) {
        if (step == "..") {
            below = below.parent_path();
        } else if (!step.empty() && step != ".") {
            below /= step;
        }
    }
    return root / below;
}

std::filesystem::path PosixFileSystem::TargetOf(std::u16string_view name) const {
    // The system itself follows no more links than this.
    constexpr int kMostLinks = 40;
    std::filesystem::path path = PathOf(name);
    std::error_code error;
    for (int links = 0; links < kMostLinks && std::filesystem::is_symlink(path, error); ++links) {
        // A relative target begins at the directory of the link.
        path = path.parent_path() / std::filesystem::read_symlink(path, error);
    }
    return path;
}

FileResult PosixFileSystem::Open(std::u16string_view name, std::uint32_t use,
                                 std::unique_ptr<File>& opened) {
    return OpenPath(PathOf(name), use, opened);
}

FileResult PosixFileSystem::OpenBeside(std::u16string_view name, std::unique_ptr<File>& opened) {
    const std::filesystem::path target = TargetOf(name);
    struct stat status {};
    if (stat(target.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) {
        // A rename would put a file in the place of a device or a named pipe.
        return FileResult::Refused(S_ISDIR(status.st_mode) ? EISDIR : EINVAL);
    }
    return OpenPath(std::filesystem::path(target) += ".new", FileUse::kWrite | FileUse::kMake,
                    opened);
}

FileResult PosixFileSystem::RenameBeside(std::u16string_view name) {
    const std::filesystem::path target = TargetOf(name);
    return ResultOf(rename((std::filesystem::path(target) += ".new").c_str(), target.c_str()));
}

FileResult PosixFileSystem::Exists(std::u16string_view name) {
    return ResultOf(access(PathOf(name).c_str(), F_OK));
}

FileResult PosixFileSystem::Delete(std::u16string_view name) {
    return ResultOf(unlink(PathOf(name).c_str()));
}

FileResult PosixFileSystem::Rename(std::u16string_view from, std::u16string_view to) {
    return ResultOf(rename(PathOf(from).c_str(), PathOf(to).c_str()));
}

FileResult PosixFileSystem::SyncDirectory(std::u16string_view name) {
    const int directory =
        open(TargetOf(name).parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (directory < 0) {
        return FileResult::Refused(errno);
    }
    const FileResult synced = ResultOf(fsync(directory));
    close(directory);
    return synced;
}

FileResult PosixFileSystem::CanWrite(std::u16string_view name) {
    const std::filesystem::path path = PathOf(name);
    const FileResult directory =
        ResultOf(faccessat(AT_FDCWD, path.parent_path().c_str(), W_OK | X_OK, AT_EACCESS));
    if (!directory) {
        return directory;
    }
    const FileResult file = ResultOf(faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS));
    return file.IsMissing() ? FileResult() : file;
}

std::string PosixFileSystem::ShownDirectory(std::u16string_view name) const {
    return PathOf(name).parent_path().string();
}

}  // namespace vantry
