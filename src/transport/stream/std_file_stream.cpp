// A file with the open modes of the standard library's file streams.
//
// A file stream of the standard library isn't used, because it buffers: after a failed write it
// keeps the bytes and may write them later, behind others. This class keeps a position and passes
// each call to the File. UseOf translates the mode: a combination that the standard library refuses
// opens nothing. A file that was opened to be emptied is truncated after it was opened.

#include "transport/stream/std_file_stream.h"

namespace vantry {
namespace {

/// Returns the bits of FileUse for a mode, or 0 for a combination that opens nothing.
std::uint32_t UseOf(std::uint32_t mode) {
    const bool reads = (mode & FileMode::kRead) != 0;
    const bool writes = (mode & FileMode::kWrite) != 0;
    const bool appends = (mode & FileMode::kAppend) != 0;
    const bool truncates = (mode & FileMode::kTruncate) != 0;
    if (truncates && (appends || !writes)) {
        return 0;
    }
    std::uint32_t use = reads ? FileUse::kRead : 0;
    use |= writes ? FileUse::kWrite : 0;
    use |= appends ? FileUse::kAppend : 0;
    use |= appends || (writes && (truncates || !reads)) ? FileUse::kMake : 0;
    return use;
}

}  // namespace

StdFileStream::StdFileStream(FileSystem& files, std::u16string_view name, std::uint32_t fileMode)
    : mode(fileMode) {
    const std::uint32_t use = UseOf(mode);
    const bool empties = (use & FileUse::kMake) != 0 && (use & FileUse::kAppend) == 0;
    if (use == 0 || !files.Open(name, use, file) || (empties && !file->Cut(0)) ||
        ((mode & FileMode::kAtEnd) != 0 && !file->Size(position))) {
        file.reset();
    }
}

std::int32_t StdFileStream::Read(std::uint8_t* buffer, std::int32_t length) {
    if (!file) {
        return StreamCode::kError;
    }
    if ((mode & FileMode::kRead) == 0) {
        return 0;
    }
    std::size_t count = 0;
    const std::span<char> wanted(reinterpret_cast<char*>(buffer), static_cast<std::size_t>(length));
    if (!file->Read(position, wanted, count)) {
        return StreamCode::kError;
    }
    position += count;
    return static_cast<std::int32_t>(count);
}

std::int32_t StdFileStream::Write(const std::uint8_t* buffer, std::int32_t length) {
    if ((mode & FileMode::kWrite) == 0) {
        return StreamCode::kNotWritable;
    }
    const std::string_view bytes(reinterpret_cast<const char*>(buffer),
                                 static_cast<std::size_t>(length));
    if (!file || !file->Write(position, bytes)) {
        return StreamCode::kError;
    }
    position += bytes.size();
    if ((mode & FileMode::kAppend) != 0 && !file->Size(position)) {
        return StreamCode::kError;
    }
    return length;
}

void StdFileStream::Close() { file.reset(); }

std::int64_t StdFileStream::Size() {
    std::uint64_t size = 0;
    return file && file->Size(size) ? static_cast<std::int64_t>(size) : StreamCode::kError;
}

}  // namespace vantry
