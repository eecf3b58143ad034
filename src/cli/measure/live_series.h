#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "cli/measure/series.h"
#include "cli/values/watch_session.h"

namespace vantry::cli {

/// Records the numbers that a subscription delivers. Only one thread may use it.
class LiveSeries {
public:
    /// Begins with the present numbers of the properties that `words` select, which are those of
    /// the session. The session must outlive this object. Returns Refused if a property that was
    /// named by itself has no number.
    static client::Result<LiveSeries> Begin(WatchSession& session,
                                            const std::vector<std::string>& words);

    /// Records what arrives within the time. Blocks for that long, or until a signal interrupts it.
    void TakeFor(std::chrono::milliseconds time);
    /// Returns what was recorded, to be drawn from the moment on.
    Recording Since(Moment begin) const;
    /// Returns when the recording began.
    Moment Start() const { return start; }

private:
    explicit LiveSeries(WatchSession& itsSession) : session(&itsSession) {}

    void Record(const client::Property& property);

    WatchSession* session;
    Moment start = history::Now();
    std::vector<Series> all;
    /// Where the series of each property is in `all`.
    std::map<client::PropertyId, std::size_t> places;
};

}  // namespace vantry::cli
