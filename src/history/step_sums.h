#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "history/moment.h"

namespace vantry::history {

/// Returns the number that a value stands for in sums: a number itself, 1 for "True" and 0 for
/// "False", nothing for another text.
std::optional<double> NumberOf(const std::string& value);

/// What a property did in one step of time.
struct StepSums {
    Moment begin = 0;
    /// The extremes, of the value at the start as well, and the mean over the time in which the
    /// value was known to be a number. They are empty if it never was.
    std::optional<double> minimum = {};
    std::optional<double> maximum = {};
    std::optional<double> mean = {};
    /// The number of changes in the step.
    std::int64_t changes = 0;
    /// The time in which the value wasn't known: the recorder didn't run, or there was no property.
    Moment unknown = 0;

    /// Adds the sums of a later part of the same step. `length` is how long each of the two is.
    void Append(const StepSums& later, Moment ownLength, Moment laterLength);
};

/// Follows one property through time and sums up what it does between two calls of Finish.
class StepSummer {
public:
    /// The first step begins at this moment, and no value is known.
    explicit StepSummer(Moment begin) : stepBegin(begin), reached(begin) {}

    /// Notes that the property has another value from this moment on, or is gone if there is none.
    /// The moment isn't before that of an earlier call.
    void Set(Moment moment, const std::optional<std::string>& value);
    /// Notes that the value isn't known from this moment on. That is no change.
    void Lose(Moment moment);
    bool IsKnown() const { return known; }
    /// Returns the latest moment of what was added.
    Moment Reached() const { return reached; }
    /// Notes that the property had this value before the first step.
    void Begin(const std::string& value);
    /// Ends the step at this moment, returns its sums, and begins the next.
    StepSums Finish(Moment moment);

private:
    void Advance(Moment moment);
    void Include(double number);

    Moment stepBegin;
    Moment reached;
    bool known = false;
    std::optional<double> number;
    StepSums sums;
    /// The integral of the number over the microseconds of `numeric`.
    double integral = 0;
    Moment numeric = 0;
};

}  // namespace vantry::history
