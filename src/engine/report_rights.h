#pragma once

#include <string>
#include <string_view>
#include <unordered_set>

#include "platform/hub_settings.h"
#include "wire/record_text.h"

namespace vantry {

/// Decides which reports of external streams the hub takes. Belongs to whoever takes the reports;
/// one thread at a time may use it.
class ReportRights {
public:
    /// `hubSettings` must outlive this object, and doesn't change while reports are taken.
    /// `hubComponent` is the GUID of the hub's own component.
    ReportRights(const HubSettings& hubSettings, std::string hubComponent);

    /// Returns whether a report that came over an external stream may be taken.
    bool Admits(const RecordView& report) const;
    /// Notes that an internal stream has reported this property, which from now on keeps external
    /// streams from it where the setting says so.
    void Claim(const RecordView& report);
    /// Returns whether an internal report makes the property its own that an external one owns.
    bool InternalTakesOver() const { return settings.externalReports == ExternalReports::Own; }

private:
    const HubSettings& settings;
    const std::string ownComponent;
    /// The full keys of what internal streams have ever reported. Never shrinks: a component that
    /// has withdrawn a property may come back for it.
    std::unordered_set<std::string> claimed;
};

/// Returns whether `text`, put between double quotes as it is, reads back as exactly one string,
/// and has no byte below 32.
bool IsSafeBetweenQuotes(std::string_view text);

}  // namespace vantry
