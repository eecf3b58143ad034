#include "platform/file_system.h"

#include <algorithm>
#include <string>
#include <system_error>

#include "platform/wide_text.h"

namespace vantry {

std::filesystem::path FileSystem::PathOf(std::u16string_view name) const {
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

bool FileSystem::Exists(std::u16string_view name) const {
    std::error_code error;
    return std::filesystem::exists(PathOf(name), error);
}

bool FileSystem::Copy(std::u16string_view from, std::u16string_view to) const {
    const std::filesystem::path target = PathOf(to);
    std::filesystem::path copying = target;
    copying += ".copying";
    std::error_code error;
    std::filesystem::copy_file(PathOf(from), copying,
                               std::filesystem::copy_options::overwrite_existing, error);
    if (!error) {
        std::filesystem::rename(copying, target, error);
    }
    if (error) {
        std::error_code ignored;
        std::filesystem::remove(copying, ignored);
    }
    return !error;
}

bool FileSystem::Delete(std::u16string_view name) const {
    std::error_code error;
    return std::filesystem::remove(PathOf(name), error);
}

}  // namespace vantry
