#pragma once

#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "client/property.h"
#include "history/moment.h"
#include "history/recording_rules.h"

namespace vantry::history {

/// A property as the hub published it, with the moment of its arrival.
struct Observation {
    client::Property property;
    Moment moment;
};

/// Decides which of the observations are recorded. It belongs to one thread at a time.
class ChangeFilter {
public:
    explicit ChangeFilter(RecordingRules itsRules) : rules(std::move(itsRules)) {}

    /// Returns what is to be recorded because of this observation: nothing if it repeats the value
    /// recorded last or lies within the deadband, and nothing yet if it comes too soon.
    std::optional<Observation> Filter(Observation observation);
    /// Returns the observations that had to wait for the end of an interval that ends until this
    /// moment, in the order of time.
    std::vector<Observation> DueUntil(Moment moment);
    /// Returns all that wait.
    std::vector<Observation> All();

private:
    struct State {
        Thinning thinning;
        bool isRecorded = false;
        bool available = false;
        std::string value;
        Moment moment = 0;
        std::optional<Observation> waiting;
    };
    static bool Differs(const State& state, const client::Property& property);
    static void Note(State& state, const Observation& observation);

    const RecordingRules rules;
    std::map<client::PropertyId, State> states;
};

}  // namespace vantry::history
