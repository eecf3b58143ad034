#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "bridge/change.h"
#include "bridge/loop.h"
#include "bridge/options.h"

namespace vantry::bridge {

/// Collects the changes of a printer for a while, and makes numbered batches of them. Used by the
/// thread of the loop.
class Collector {
public:
    /// `options` must live as long as the object. `run` becomes part of the batches. `onBatch` gets
    /// each batch, and `onFlush` is called after the last one of a flush.
    Collector(Loop& loop, const Options& options, std::int64_t run,
              std::function<void(Batch)> onBatch, std::function<void()> onFlush);

    /// Adds a change. The time of collecting is multiplied by `slowness`.
    void Add(Change change, std::uint64_t slowness);
    /// Makes batches of what is collected so far.
    void Flush();

private:
    std::uint64_t TimeFor(const Change& change) const;

    const Options& options;
    const std::int64_t run;
    const std::function<void(Batch)> emit;
    const std::function<void()> flushed;
    std::uint64_t lastNumber = 0;
    std::vector<Change> pending;
    Loop::Timer flush;
};

}  // namespace vantry::bridge
