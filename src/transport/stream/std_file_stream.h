#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "platform/file_system.h"
#include "transport/stream/stream.h"
#include "transport/stream/stream_buffer.h"

namespace vantry {

/// How a StdFileStream opens its file: a set of bits, which are those of the standard library's
/// file streams; the hub uses the first four. Files are binary and not locked.
struct FileMode {
    static constexpr std::uint32_t kRead = 1;
    static constexpr std::uint32_t kWrite = 2;
    static constexpr std::uint32_t kAppend = 4;
    static constexpr std::uint32_t kTruncate = 8;
    static constexpr std::uint32_t kAtEnd = 16;
};

/// A file as a stream. One thread at a time uses it. Its operations block while the disk works, so
/// it is never passed to the engine.
///
/// The constructor can't report a failure; its caller tests IsOpen. Nothing is buffered: when Write
/// returns, the operating system has the bytes, and the bytes of a failed Write aren't written
/// again later.
class StdFileStream final : public Stream {
public:
    /// Opens the file with bits of FileMode, which combine like the open modes of the standard
    /// library: kWrite alone truncates the file, and kRead with kWrite requires that it exists.
    /// `files` is only used by the constructor.
    StdFileStream(FileSystem& files, std::u16string_view name, std::uint32_t fileMode);

    bool IsOpen() const { return file != nullptr; }

    /// Returns fewer than `length` bytes only at the end of the file, and 0 if there are none.
    /// Returns 0 as well if the file wasn't opened for reading.
    std::int32_t Read(std::uint8_t* buffer, std::int32_t length) override;
    /// Writes all bytes, and returns `length`. Returns kNotWritable if the file wasn't opened for
    /// writing, and kError if the system refuses; a part may be written then.
    std::int32_t Write(const std::uint8_t* buffer, std::int32_t length) override;
    void Close() override;

    /// Returns the length of the file in bytes, or a StreamCode. The position is unchanged.
    std::int64_t Size();

private:
    const std::uint32_t mode;
    std::uint64_t position = 0;
    std::unique_ptr<File> file;
};

}  // namespace vantry
