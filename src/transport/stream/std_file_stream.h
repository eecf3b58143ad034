#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "platform/file_system.h"
#include "transport/stream/stream.h"
#include "transport/stream/stream_buffer.h"

namespace vantry {

/// How a StdFileStream opens its file: a set of bits. Always binary, with no sharing restriction.
struct FileMode {
    static constexpr std::uint32_t kRead = 1;
    static constexpr std::uint32_t kWrite = 2;
    static constexpr std::uint32_t kAppend = 4;
    static constexpr std::uint32_t kTruncate = 8;
    static constexpr std::uint32_t kAtEnd = 16;
};

/// A plain file as a stream. For one thread at a time.
///
/// The constructor never fails; the owner tests IsOpen once after it. What Write takes has left the
/// process when it returns, and a failed Write leaves nothing behind that a later one would try
/// again.
class StdFileStream final : public Stream {
public:
    /// Opens the file with the bits of FileMode, which are combined as those of a file stream of
    /// the standard library are: writing alone empties the file, reading and writing needs one that
    /// exists.
    StdFileStream(FileSystem& files, std::u16string_view name, std::uint32_t fileMode);

    bool IsOpen() const { return file != nullptr; }

    /// A file that ends before `length` gives what is left, and 0 at its very end.
    std::int32_t Read(std::uint8_t* buffer, std::int32_t length) override;
    std::int32_t Write(const std::uint8_t* buffer, std::int32_t length) override;
    void Close() override;

    /// Returns the length of the file in bytes, or a StreamCode. The position stays.
    std::int64_t Size();

private:
    const std::uint32_t mode;
    std::uint64_t position = 0;
    std::unique_ptr<File> file;
};

}  // namespace vantry
