#include "transport/stream/std_file_stream.h"

namespace vantry {
namespace {

std::ios::openmode ToOpenMode(std::uint32_t mode) {
    std::ios::openmode bits = std::ios::binary;
    const auto add = [&](std::uint32_t bit, std::ios::openmode meaning) {
        if ((mode & bit) != 0) {
            bits |= meaning;
        }
    };
    add(FileMode::kRead, std::ios::in);
    add(FileMode::kWrite, std::ios::out);
    add(FileMode::kAppend, std::ios::app);
    add(FileMode::kTruncate, std::ios::trunc);
    add(FileMode::kAtEnd, std::ios::ate);
    return bits;
}

}  // namespace

StdFileStream::StdFileStream(const std::filesystem::path& path, std::uint32_t fileMode)
    : mode(fileMode) {
    // Without a buffer a failed write can't come back with the next one.
    file.rdbuf()->pubsetbuf(nullptr, 0);
    file.open(path, ToOpenMode(mode));
}

std::int32_t StdFileStream::Read(std::uint8_t* buffer, std::int32_t length) {
    if (!file.is_open()) {
        return StreamCode::kError;
    }
    file.read(reinterpret_cast<char*>(buffer), length);
    const auto count = static_cast<std::int32_t>(file.gcount());
    const bool ended = file.eof();
    const bool failed = file.fail();
    if (ended && failed && !file.bad()) {
        return count;
    }
    if (ended && count == 0) {
        return StreamCode::kEndOfData;
    }
    return failed ? StreamCode::kError : count;
}

std::int32_t StdFileStream::Write(const std::uint8_t* buffer, std::int32_t length) {
    if ((mode & FileMode::kWrite) == 0) {
        return StreamCode::kNotWritable;
    }
    if (!file.is_open()) {
        return StreamCode::kError;
    }
    file.clear();
    file.write(reinterpret_cast<const char*>(buffer), length);
    file.flush();
    return file.fail() ? StreamCode::kError : length;
}

void StdFileStream::Close() { file.close(); }

std::int64_t StdFileStream::Size() {
    if (!file.is_open()) {
        return StreamCode::kError;
    }
    const std::streampos position = file.tellg();
    file.seekg(0, std::ios::end);
    const std::streamoff size = file.tellg();
    file.seekg(position);
    return file.fail() ? StreamCode::kError : static_cast<std::int64_t>(size);
}

}  // namespace vantry
