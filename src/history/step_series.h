#pragma once

#include <cstddef>
#include <utility>
#include <vector>

#include "history/moment.h"
#include "history/step_sums.h"

namespace vantry::history {

/// Steps of equal length in time, which are put together from sums of their parts, in the order of
/// time. It belongs to one thread at a time.
class StepSeries {
public:
    /// The first step begins at `begin`; the last one may end after `end`, up to which it is
    /// filled.
    StepSeries(Moment itsBegin, Moment itsEnd, Moment length)
        : begin(itsBegin), end(itsEnd), step(length) {}

    /// Adds the sums of the time between `sums.begin` and `until`, all of which lies in one step.
    void Append(const StepSums& sums, Moment until) {
        const Moment stepBegin = begin + (sums.begin - begin) / step * step;
        if (steps.empty() || steps.back().begin != stepBegin) {
            steps.push_back({.begin = stepBegin});
        }
        steps.back().Append(sums, sums.begin - stepBegin, until - sums.begin);
    }
    /// Returns the end of the step that holds the moment, or of the series.
    Moment EndOfStep(Moment moment) const {
        const Moment stepEnd = begin + ((moment - begin) / step + 1) * step;
        return stepEnd < end ? stepEnd : end;
    }
    Moment Begin() const { return begin; }
    Moment End() const { return end; }
    /// Returns the steps so far, in the order of time, and leaves the series without any.
    std::vector<StepSums> Take() { return std::move(steps); }

private:
    Moment begin;
    Moment end;
    Moment step;
    std::vector<StepSums> steps;
};

}  // namespace vantry::history
