#pragma once

#include <string>
#include <vector>

#include "client/property.h"
#include "history/moment.h"

namespace vantry::history {

/// How much of a property is recorded.
struct Thinning {
    /// A number is recorded when it differs by this or more from the one recorded last.
    double deadband = 0;
    /// Values are recorded at this distance in time or more. The last value of an interval is
    /// recorded at its end.
    Moment leastInterval = 0;
    bool isRecorded = true;
};

/// Which properties are recorded, and how densely. An object doesn't change after it was built, so
/// any thread may use it.
class RecordingRules {
public:
    // These add a rule for the properties that a glob matches, see describe::GlobNames. A later
    // rule replaces what an earlier one says. They are called before threads share the object.

    void SetDeadband(std::string glob, double deadband);
    void SetLeastInterval(std::string glob, Moment interval);
    void Exclude(std::string glob);

    /// Returns what the rules say together. It takes a time that grows with their number.
    Thinning Of(const client::Property& property) const;

private:
    enum class What { kDeadband, kLeastInterval, kExclude };
    struct Rule {
        std::string glob;
        What what;
        double deadband = 0;
        Moment interval = 0;
    };

    std::vector<Rule> rules;
};

}  // namespace vantry::history
