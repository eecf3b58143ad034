#pragma once

#include <cstdint>

namespace vantry {

/// How a property file is written.
enum class Saves : std::uint8_t {
    /// Over the old content, without a temporary file. A kill in the middle leads to ".bak".
    InPlace,
    /// Beside it, synced and renamed, so that neither a kill nor a power cut ever leaves a
    /// half-written file.
    Replace,
};

/// Which properties external peers may report.
enum class ExternalReports : std::uint8_t {
    Any,
    /// None of the hub's component, and none that an internal connection has ever reported.
    Own,
    None,
};

/// What the program around the hub decides before the hub starts.
struct HubSettings {
    Saves saves = Saves::InPlace;
    ExternalReports externalReports = ExternalReports::Any;
};

}  // namespace vantry
