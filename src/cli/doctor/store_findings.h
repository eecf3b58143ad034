#pragma once

#include <filesystem>
#include <optional>

#include "cli/doctor/findings.h"

namespace vantry::cli {

/// Looks at the files of a hub whose root is this folder: the property files, the log, and whether
/// the user as which the hub runs, if that is known, may write there.
void ExamineStore(const std::filesystem::path& root, std::optional<unsigned> hubUser,
                  Findings& into);

}  // namespace vantry::cli
