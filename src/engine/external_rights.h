#pragma once

#include <deque>
#include <string_view>
#include <unordered_set>

#include "transport/stream/stream.h"
#include "wire/property_records.h"

namespace vantry {

/// Whether a stream leads out of the printer's own software.
inline bool IsExternalStream(const Stream& stream) { return stream.IsExternal() == 1; }

/// What a stream that leads out of the printer's own software may see. Never changes; any thread
/// may ask.
class ExternalRights {
public:
    ExternalRights();

    /// A record of an external group or of a group of jobs passes, and so does every record that
    /// carries no value in force.
    bool Pass(const PropertyResponse& record) const;
    /// Takes the records out that don't pass. With `reportRefused` each is answered by a failure
    /// record behind all others.
    void Filter(std::deque<PropertyResponse>& records, bool reportRefused) const;

private:
    std::unordered_set<std::string_view> groups;
};

}  // namespace vantry
