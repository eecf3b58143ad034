#include "driver/quoted_ini.h"

#include <algorithm>
#include <cstdint>
#include <limits>

#include "transport/stream/std_file_stream.h"

namespace vantry {
namespace {

constexpr std::string_view kError = "Error";

std::string_view ValueIn(std::string_view line, std::size_t keyPlace) {
    const std::size_t equals = line.find('=', keyPlace);
    const std::size_t quote = equals == std::string_view::npos ? equals : line.find('"', equals);
    const std::size_t last = line.find_last_not_of("\"\\\r\n");
    if (quote == std::string_view::npos || last == std::string_view::npos || last <= quote) {
        return kError;
    }
    return line.substr(quote + 1, last - quote);
}

}  // namespace

std::string ReadQuotedIniValue(const std::filesystem::path& path, std::string_view key) {
    StdFileStream file(path, FileMode::kRead);
    const std::int64_t size = file.Size();
    if (size <= 0 || size > std::numeric_limits<std::int32_t>::max()) {
        return std::string(kError);
    }
    std::string content(static_cast<std::size_t>(size), '\0');
    const auto wanted = static_cast<std::int32_t>(size);
    if (file.Read(reinterpret_cast<std::uint8_t*>(content.data()), wanted) != wanted) {
        return std::string(kError);
    }
    for (std::string_view text = content; !text.empty();) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        const std::string_view line = text.substr(0, end);
        if (const std::size_t place = line.find(key); place != std::string_view::npos) {
            return std::string(ValueIn(line, place));
        }
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return std::string(kError);
}

}  // namespace vantry
