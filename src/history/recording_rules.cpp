#include "history/recording_rules.h"

#include <utility>

#include "describe/glob.h"

namespace vantry::history {

void RecordingRules::SetDeadband(std::string glob, double deadband) {
    rules.push_back({std::move(glob), What::kDeadband, deadband});
}

void RecordingRules::SetLeastInterval(std::string glob, Moment interval) {
    rules.push_back({std::move(glob), What::kLeastInterval, 0, interval});
}

void RecordingRules::Exclude(std::string glob) {
    rules.push_back({std::move(glob), What::kExclude});
}

Thinning RecordingRules::Of(const client::Property& property) const {
    Thinning thinning;
    for (const Rule& rule : rules) {
        if (!describe::GlobNames(rule.glob, property, describe::LetterCase::Ignored)) {
            continue;
        }
        switch (rule.what) {
            case What::kDeadband:
                thinning.deadband = rule.deadband;
                break;
            case What::kLeastInterval:
                thinning.leastInterval = rule.interval;
                break;
            default:
                thinning.isRecorded = false;
        }
    }
    return thinning;
}

}  // namespace vantry::history
