#pragma once

#include <filesystem>

#include "cli/doctor/findings.h"
#include "client/result.h"

namespace vantry::cli {

/// Looks for the reason for which no hub was reached at a local device, and records it. `failure`
/// is what the client library said.
void ExamineDevice(const std::filesystem::path& device, const client::Error& failure,
                   Findings& into);

}  // namespace vantry::cli
