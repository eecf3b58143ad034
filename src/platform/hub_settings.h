#pragma once

#include <cstdint>

namespace vantry {

/// How a property file is written.
enum class Saves : std::uint8_t {
    /// The new content overwrites the old one, without a temporary file. If the process is killed
    /// meanwhile, the next start reads the ".bak" file.
    InPlace,
    /// The new content is written to a temporary file, synced and renamed, so that neither a kill
    /// nor a power cut leaves an incomplete file.
    Replace,
};

/// Which properties external peers may report.
enum class ExternalReports : std::uint8_t {
    Any,
    /// Any except those of the hub's component and those that an internal connection has reported.
    Own,
    None,
};

/// The settings that the program around the hub chooses before the hub starts. They don't change
/// afterwards, so any thread may read them.
struct HubSettings {
    Saves saves = Saves::InPlace;
    ExternalReports externalReports = ExternalReports::Any;
};

}  // namespace vantry
