#include "store/property_file.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>

#include "store/format/check_value.h"
#include "transport/stream/std_file_stream.h"

namespace vantry {
namespace {

constexpr std::size_t kTailBytes = 2;

bool ReadAll(StdFileStream& file, std::string& content) {
    const std::int64_t size = file.Size();
    if (size < 0 || size > std::numeric_limits<std::int32_t>::max()) {
        return false;
    }
    content.resize(static_cast<std::size_t>(size));
    const auto wanted = static_cast<std::int32_t>(size);
    return file.Read(reinterpret_cast<std::uint8_t*>(content.data()), wanted) == wanted;
}

std::array<std::uint8_t, kTailBytes> TailOf(std::string_view text) {
    const std::uint16_t check = CheckValue(text);
    return {static_cast<std::uint8_t>(check & 0xFF), static_cast<std::uint8_t>(check >> 8)};
}

bool HasTail(std::string_view content) {
    const auto tail = TailOf(content.substr(0, content.size() - kTailBytes));
    const std::string_view stored = content.substr(content.size() - kTailBytes);
    return static_cast<std::uint8_t>(stored[0]) == tail[0] &&
           static_cast<std::uint8_t>(stored[1]) == tail[1];
}

bool TakeLine(std::string_view line, StoredLines& lines) {
    const std::size_t pipe = line.find('|');
    const std::size_t equals = pipe == std::string_view::npos ? pipe : line.find('=', pipe);
    if (pipe == 0 || equals == std::string_view::npos) {
        return false;
    }
    lines[std::string(line.substr(0, pipe))] = {std::string(line.substr(0, equals)),
                                                std::string(line.substr(equals + 1))};
    return true;
}

bool WriteAll(StdFileStream& file, const void* bytes, std::size_t count) {
    const auto wanted = static_cast<std::int32_t>(count);
    return file.Write(static_cast<const std::uint8_t*>(bytes), wanted) == wanted;
}

}  // namespace

bool ReadPropertyFile(const std::filesystem::path& path, StoredLines& lines) {
    StdFileStream file(path, FileMode::kRead);
    std::string content;
    if (!ReadAll(file, content) || content.size() <= kTailBytes || !HasTail(content)) {
        return false;
    }
    bool good = true;
    std::string_view text = std::string_view(content).substr(0, content.size() - kTailBytes);
    for (std::size_t end = text.find('\n'); end != std::string_view::npos; end = text.find('\n')) {
        good = TakeLine(text.substr(0, end), lines) && good;
        text.remove_prefix(end + 1);
    }
    return good;
}

bool ReadPropertyText(const std::filesystem::path& path, std::string& text) {
    text.clear();
    StdFileStream file(path, FileMode::kRead);
    if (!file.IsOpen()) {
        return true;
    }
    if (!ReadAll(file, text)) {
        return false;
    }
    text.resize(text.size() < kTailBytes ? 0 : text.size() - kTailBytes);
    return true;
}

std::string ReplaceLine(std::string_view text, std::string_view prefix, std::string_view line) {
    std::string result;
    result.reserve(text.size() + line.size() + 2);
    bool replaced = false;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        const std::string_view old = text.substr(0, end);
        const bool isTheOne = !replaced && old.starts_with(prefix);
        result.append(isTheOne ? line : old).push_back('\n');
        replaced = replaced || isTheOne;
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    if (!replaced) {
        result.append(line).push_back('\n');
    }
    return result;
}

bool WritePropertyText(const std::filesystem::path& path, std::string_view text) {
    StdFileStream file(path, FileMode::kWrite | FileMode::kTruncate);
    const auto tail = TailOf(text);
    return file.IsOpen() && WriteAll(file, text.data(), text.size()) &&
           WriteAll(file, tail.data(), tail.size());
}

}  // namespace vantry
