#pragma once

#include <string_view>
#include <unordered_set>

#include "transport/stream/stream.h"

namespace vantry {

/// Returns whether the peer of the stream is outside the printer's own software.
inline bool IsExternalStream(const Stream& stream) { return stream.IsExternal() == 1; }

/// Decides which groups external streams may see. Immutable, so any thread may call it.
class ExternalRights {
public:
    ExternalRights();

    /// Returns whether external streams may see the values of this group, which holds for the
    /// external groups and for the groups of jobs. Records without a current value may always be
    /// sent.
    bool MaySee(std::string_view groupGuid) const;

private:
    std::unordered_set<std::string_view> groups;
};

}  // namespace vantry
