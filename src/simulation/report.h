#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "simulation/run_settings.h"
#include "simulation/scheduler.h"

namespace vantry::simulation {

/// Returns the function and the line of the code that the address returns to, with a line end.
/// Blocks while it looks it up.
std::string CodeAt(const void* address);

/// Writes to standard output why a run failed, how to repeat it, and what each thread waits for,
/// with the functions of the hub that it is in. Blocks while it looks up their names.
void WriteReport(std::string_view reason, const RunSettings& settings, std::uint64_t now,
                 const std::vector<std::unique_ptr<SimulatedThread>>& threads);

}  // namespace vantry::simulation
