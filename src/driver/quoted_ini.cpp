#include "driver/quoted_ini.h"

#include <algorithm>

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

std::string ReadQuotedIniValue(FileSystem& files, std::u16string_view name, std::string_view key) {
    std::string content;
    if (!files.ReadAll(name, content)) {
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
