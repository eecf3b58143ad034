#pragma once

#include <filesystem>

#include "cli/doctor/findings.h"

namespace vantry::cli {

/// Looks at the bridge and the gateway, where they are set up: whether the files that they are
/// configured with can be read, whether their certificates are valid, and whether the hub and the
/// broker that are named there can be reached. `system` is the folder that stands for "/". Blocks
/// for up to two seconds for each address.
void ExamineServices(const std::filesystem::path& system, Findings& into);

}  // namespace vantry::cli
