// What is left out of a history.
//
// The hub sends one record for each change, with the latest value, so several changes within a
// period arrive as equal records; only the first is new. A property that comes back, or that goes,
// is recorded at once, whatever the deadband and the interval are.
//
// An observation that comes too soon waits. A later one replaces it, and the end of the interval
// makes it due, so the value at rest is always in the history.

#include "history/change_filter.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "describe/description.h"

namespace vantry::history {

bool ChangeFilter::Differs(const State& state, const client::Property& property) {
    if (!state.isRecorded || state.available != property.available) {
        return state.isRecorded || property.available;
    }
    if (!property.available || state.value == property.value) {
        return false;
    }
    if (state.thinning.deadband > 0) {
        const auto before = describe::NumberIn(state.value);
        const auto now = describe::NumberIn(property.value);
        return !before || !now || std::fabs(*now - *before) >= state.thinning.deadband;
    }
    return true;
}

void ChangeFilter::Note(State& state, const Observation& observation) {
    state.isRecorded = true;
    state.available = observation.property.available;
    state.value = observation.property.value;
    state.moment = observation.moment;
    state.waiting.reset();
}

std::optional<Observation> ChangeFilter::Filter(Observation observation) {
    const auto [place, isNew] = states.try_emplace(observation.property.id);
    State& state = place->second;
    if (isNew) {
        state.thinning = rules.Of(observation.property);
    }
    if (!state.thinning.isRecorded) {
        return std::nullopt;
    }
    if (!Differs(state, observation.property)) {
        state.waiting.reset();
        return std::nullopt;
    }
    const bool comesOrGoes = !state.isRecorded || state.available != observation.property.available;
    if (!comesOrGoes && observation.moment - state.moment < state.thinning.leastInterval) {
        state.waiting = std::move(observation);
        return std::nullopt;
    }
    Note(state, observation);
    return observation;
}

std::vector<Observation> ChangeFilter::DueUntil(Moment moment) {
    std::vector<Observation> due;
    for (auto& [id, state] : states) {
        if (state.waiting && moment - state.moment >= state.thinning.leastInterval) {
            due.push_back(std::move(*state.waiting));
            Note(state, due.back());
        }
    }
    std::sort(due.begin(), due.end(), [](const Observation& left, const Observation& right) {
        return left.moment < right.moment;
    });
    return due;
}

std::vector<Observation> ChangeFilter::All() {
    return DueUntil(std::numeric_limits<Moment>::max());
}

}  // namespace vantry::history
