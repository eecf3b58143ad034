#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

namespace vantry {

/// The result of an operation on a file: true if it was done, else the system's error number. A
/// missing file can be distinguished from every other failure, because only a missing file means
/// that there is no content to lose.
class [[nodiscard]] FileResult {
public:
    /// Makes the result of an operation that was done.
    FileResult() = default;
    /// Makes the result of an operation that failed with this error number.
    static FileResult Refused(int errorNumber) {
        FileResult result;
        result.error = errorNumber;
        return result;
    }

    explicit operator bool() const { return error == 0; }
    /// Returns whether the operation failed because there is no such file.
    bool IsMissing() const;
    /// Returns whether the operation failed because there is no room for what was to be written.
    bool IsNoRoom() const;
    /// Returns the system's text for the failure.
    std::string Reason() const;

private:
    int error = 0;
};

/// An open file. One thread at a time uses it. The operations block while the disk works. The
/// destructor closes the file.
class File {
public:
    File() = default;
    virtual ~File() = default;
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    /// Reads bytes from `offset` on into `buffer`, fewer only at the end of the file, and sets
    /// `count` to their number.
    virtual FileResult Read(std::uint64_t offset, std::span<char> buffer, std::size_t& count) = 0;
    /// Writes all of `bytes` from `offset` on, or to the end of a file that was opened for
    /// appending. A call that fails may have written some of them.
    virtual FileResult Write(std::uint64_t offset, std::string_view bytes) = 0;
    /// Sets `bytes` to the length of the file.
    virtual FileResult Size(std::uint64_t& bytes) = 0;
    /// Truncates the file, or appends zeros to it, so that it is `bytes` bytes long.
    virtual FileResult Cut(std::uint64_t bytes) = 0;
    /// Blocks until the content is on the disk.
    virtual FileResult Sync() = 0;
};

/// What a file is opened for: a set of bits.
struct FileUse {
    static constexpr std::uint32_t kRead = 1;
    static constexpr std::uint32_t kWrite = 2;
    /// Every write goes to the end that the file has at that moment.
    static constexpr std::uint32_t kAppend = 4;
    /// A missing file is created.
    static constexpr std::uint32_t kMake = 8;
};

/// The printer's file system. The hub opens, renames and deletes its files through this class only.
///
/// Names are paths of the printer: absolute, with slashes or backslashes, case-sensitive. All
/// operations are thread-safe; they block while the disk works. A failure is in their result; they
/// throw no exceptions.
class FileSystem {
public:
    FileSystem() = default;
    virtual ~FileSystem() = default;
    FileSystem(const FileSystem&) = delete;
    FileSystem& operator=(const FileSystem&) = delete;

    /// Opens a file; `opened` then owns it. On failure `opened` is unchanged. Opening a directory
    /// fails.
    virtual FileResult Open(std::u16string_view name, std::uint32_t use,
                            std::unique_ptr<File>& opened) = 0;
    /// Returns success if there is a file or directory of this name. IsMissing() of the result
    /// distinguishes a missing one from one that can't be looked up.
    virtual FileResult Exists(std::u16string_view name) = 0;
    /// Deletes a file. Deleting a missing file is a failure whose IsMissing() is true.
    virtual FileResult Delete(std::u16string_view name) = 0;
    /// Renames a file. A file that already has the name `to` is replaced atomically.
    virtual FileResult Rename(std::u16string_view from, std::u16string_view to) = 0;
    /// Blocks until the entries of the directory that contains `name` are on the disk.
    virtual FileResult SyncDirectory(std::u16string_view name) = 0;
    /// Returns success if files can be created in the directory of `name`, and `name` can be
    /// written if it exists. Changes nothing.
    virtual FileResult CanWrite(std::u16string_view name) = 0;
    /// Returns the directory that contains `name`, as a path of the machine, for messages.
    virtual std::string ShownDirectory(std::u16string_view name) const = 0;

    /// Reads a whole file into `content`, of which a failure may leave a part. A file of more than
    /// 64 MiB, and one that ends before its size, is a failure.
    FileResult ReadAll(std::u16string_view name, std::string& content);
    /// Writes `content` to a file `name` + ".new", and renames that to `name`, so that `name` is
    /// the old file or the complete new one at any moment, also after a power cut. After a failure
    /// it is the old one, or, if only the last step failed, the new one, which a power cut may
    /// still undo. If `name` is a symbolic link, the file that it leads to is replaced.
    FileResult Replace(std::u16string_view name, std::string_view content);
    /// Replaces `to` by a copy of `from`.
    FileResult Copy(std::u16string_view from, std::u16string_view to);

protected:
    /// Opens the file `name` + ".new" for writing, and creates it if it is missing. Where `name` is
    /// a link, it stands beside the file that the link leads to. Fails if `name` is there and no
    /// regular file.
    virtual FileResult OpenBeside(std::u16string_view name, std::unique_ptr<File>& opened);
    /// Renames that file to `name`, or to the file that the link leads to.
    virtual FileResult RenameBeside(std::u16string_view name);
};

}  // namespace vantry
