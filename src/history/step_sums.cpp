// Sums over steps of time.
//
// A value holds from its change to the next one, so the mean is weighted by time: a property that
// is 10 for a second and 20 for three has the mean 17.5, however often it was reported. What was
// recorded with a deadband gives the same mean within that deadband.

#include "history/step_sums.h"

#include <algorithm>

#include "describe/description.h"

namespace vantry::history {

std::optional<double> NumberOf(const std::string& value) {
    if (value == "True" || value == "False") {
        return value == "True" ? 1 : 0;
    }
    return describe::NumberIn(value);
}

void StepSums::Append(const StepSums& later, Moment ownLength, Moment laterLength) {
    if (later.mean) {
        const auto ownWeight = static_cast<double>(mean ? ownLength - unknown : 0);
        const auto laterWeight = static_cast<double>(laterLength - later.unknown);
        mean = (mean.value_or(0) * ownWeight + *later.mean * laterWeight) /
               std::max(ownWeight + laterWeight, 1.0);
    }
    if (later.minimum) {
        minimum = std::min(*later.minimum, minimum.value_or(*later.minimum));
    }
    if (later.maximum) {
        maximum = std::max(*later.maximum, maximum.value_or(*later.maximum));
    }
    changes += later.changes;
    unknown += later.unknown;
}

void StepSummer::Begin(const std::string& value) {
    known = true;
    number = NumberOf(value);
}

void StepSummer::Set(Moment moment, const std::optional<std::string>& value) {
    Advance(moment);
    known = value.has_value();
    number = known ? NumberOf(*value) : std::nullopt;
    if (number) {
        Include(*number);
    }
    ++sums.changes;
}

void StepSummer::Lose(Moment moment) {
    Advance(moment);
    known = false;
    number.reset();
}

StepSums StepSummer::Finish(Moment moment) {
    Advance(moment);
    if (numeric > 0) {
        sums.mean = integral / static_cast<double>(numeric);
    }
    StepSums finished = sums;
    finished.begin = stepBegin;
    sums = {};
    integral = 0;
    numeric = 0;
    stepBegin = moment;
    return finished;
}

void StepSummer::Advance(Moment moment) {
    const Moment length = moment - reached;
    reached = moment;
    if (!known) {
        sums.unknown += length;
    }
    if (number && length > 0) {
        Include(*number);
        integral += *number * static_cast<double>(length);
        numeric += length;
    }
}

void StepSummer::Include(double included) {
    sums.minimum = std::min(included, sums.minimum.value_or(included));
    sums.maximum = std::max(included, sums.maximum.value_or(included));
}

}  // namespace vantry::history
