#pragma once

#include <string>
#include <string_view>

#include "engine/key_set.h"
#include "platform/hub_settings.h"
#include "wire/record_text.h"

namespace vantry {

/// Decides which reports of external streams the hub accepts. Not thread-safe: the engine guards it
/// with its reportsLock.
class ReportRights {
public:
    /// `hubSettings` must outlive this object, and must not change while it exists.
    /// `hubComponent` is the GUID of the hub's own component.
    ReportRights(const HubSettings& hubSettings, std::string hubComponent);

    /// Returns whether the texts of a report, which take a time in proportion to their length, can
    /// be sent unescaped. Needs no lock.
    static bool IsSafe(const RecordView& report);
    /// Returns whether to accept a report that arrived over an external stream and is safe.
    bool Admits(const RecordView& report) const;
    /// Records that an internal stream has reported this property. Where the setting says so,
    /// reports of it by external streams are then rejected.
    void Claim(const RecordView& report);
    /// Returns whether an internal stream becomes the owner of a property that it reports and that
    /// an external stream owns.
    bool InternalTakesOver() const { return settings.externalReports == ExternalReports::Own; }

private:
    const HubSettings& settings;
    const std::string ownComponent;
    /// The full keys of all properties that internal streams have ever reported. Keys are never
    /// removed, because a component that has withdrawn a property may announce it again.
    KeySet claimed;
};

/// Returns whether `text` between double quotes is exactly one string of JSON with good escapes and
/// no byte below 32.
bool IsSafeBetweenQuotes(std::string_view text);

}  // namespace vantry
