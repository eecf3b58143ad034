#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

namespace vantry {

/// How an operation on a file ended. True if it was done. A refusal tells "there is no such file"
/// from everything else that the machine can object to, because only the former means that there
/// is nothing to lose.
class [[nodiscard]] FileResult {
public:
    /// The operation was done.
    FileResult() = default;
    /// The system refused with this error number.
    static FileResult Refused(int errorNumber) {
        FileResult result;
        result.error = errorNumber;
        return result;
    }

    explicit operator bool() const { return error == 0; }
    bool IsMissing() const;
    /// The reason of a refusal, as the system words it.
    std::string Reason() const;

private:
    int error = 0;
};

/// An open file. One thread at a time uses it. The destructor closes it.
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
    /// appending. A refused call may have written some of them.
    virtual FileResult Write(std::uint64_t offset, std::string_view bytes) = 0;
    virtual FileResult Size(std::uint64_t& bytes) = 0;
    /// Cuts the file off, or fills it up with zeros, so that it has `bytes` bytes.
    virtual FileResult Cut(std::uint64_t bytes) = 0;
    /// Returns when the content is on the disk.
    virtual FileResult Sync() = 0;
};

/// What a file is opened for: a set of bits.
struct FileUse {
    static constexpr std::uint32_t kRead = 1;
    static constexpr std::uint32_t kWrite = 2;
    /// Writing to the end, wherever that is at the moment of the write.
    static constexpr std::uint32_t kAppend = 4;
    /// A missing file is made.
    static constexpr std::uint32_t kMake = 8;
};

/// The printer's file system: the only way to the hub's files.
///
/// Names are the printer's: absolute, with slashes or backslashes, case kept. Any thread may call
/// the operations; they block for as long as the disk takes. They report refusals by their result,
/// never by an exception.
class FileSystem {
public:
    FileSystem() = default;
    virtual ~FileSystem() = default;
    FileSystem(const FileSystem&) = delete;
    FileSystem& operator=(const FileSystem&) = delete;

    /// Opens a file and hands it over in `opened`, which a refusal leaves alone. Directories are
    /// refused.
    virtual FileResult Open(std::u16string_view name, std::uint32_t use,
                            std::unique_ptr<File>& opened) = 0;
    virtual FileResult Exists(std::u16string_view name) = 0;
    virtual FileResult Delete(std::u16string_view name) = 0;
    /// Gives a file another name. A file that has that name already goes at the same moment.
    virtual FileResult Rename(std::u16string_view from, std::u16string_view to) = 0;
    /// Returns when the names in the directory of `name` are on the disk.
    virtual FileResult SyncDirectory(std::u16string_view name) = 0;
    /// Finds out whether files can be made beside `name`, and `name` be written if it is there,
    /// without changing anything.
    virtual FileResult CanWrite(std::u16string_view name) = 0;
    /// The name of the directory in which `name` stands, for people.
    virtual std::string ShownDirectory(std::u16string_view name) const = 0;

    /// Reads a whole file. A file that ends before its size counts as refused.
    FileResult ReadAll(std::u16string_view name, std::string& content);
    /// Puts a file with `content` in the place of `name`, by way of a file `name` + ".new", so that
    /// `name` is the old file or the whole new one at any moment, also after a power cut. On
    /// refusal it is the old one, except that the new one may already stand there and only be lost
    /// by a power cut.
    FileResult Replace(std::u16string_view name, std::string_view content);
    /// Replaces `to` by a copy of `from`.
    FileResult Copy(std::u16string_view from, std::u16string_view to);
};

}  // namespace vantry
