#pragma once

#include <string_view>
#include <unordered_set>

#include "transport/stream/stream.h"

namespace vantry {

/// Whether a stream leads out of the printer's own software.
inline bool IsExternalStream(const Stream& stream) { return stream.IsExternal() == 1; }

/// What a stream that leads out of the printer's own software may see. Never changes; any thread
/// may ask.
class ExternalRights {
public:
    ExternalRights();

    /// Returns whether the values of this group may be seen: it is one of the external groups, or a
    /// group of jobs. Records that carry no value in force may always be seen.
    bool MaySee(std::string_view groupGuid) const;

private:
    std::unordered_set<std::string_view> groups;
};

}  // namespace vantry
