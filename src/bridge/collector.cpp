#include "bridge/collector.h"

#include <algorithm>
#include <utility>

#include "describe/glob.h"

namespace vantry::bridge {
namespace {

constexpr std::size_t kMostChangesOfABatch = 200;
constexpr std::size_t kMostBytesOfABatch = 48U << 10U;

}  // namespace

Collector::Collector(Loop& loop, const Options& configuration, std::int64_t itsRun,
                     std::function<void(Batch)> onBatch, std::function<void()> onFlush)
    : options(configuration),
      run(itsRun),
      emit(std::move(onBatch)),
      flushed(std::move(onFlush)),
      flush(loop, [this] { Flush(); }) {}

std::uint64_t Collector::TimeFor(const Change& change) const {
    const bool isUrgent =
        std::any_of(options.urgent.begin(), options.urgent.end(), [&](const std::string& glob) {
            return describe::GlobMatches(glob, change.subject->key, describe::LetterCase::Exact);
        });
    if (isUrgent) {
        return 0;
    }
    const bool isNumber = change.subject->description.type == client::ValueType::Number;
    return Milliseconds(isNumber ? options.numberSeconds : options.batchSeconds);
}

void Collector::Add(Change change, std::uint64_t slowness) {
    flush.SetEarlier(TimeFor(change) * slowness);
    pending.push_back(std::move(change));
    if (pending.size() >= kMostChangesOfABatch) {
        Flush();
    }
}

void Collector::Flush() {
    flush.Cancel();
    Batch batch{run, 0, {}};
    std::size_t bytes = 0;
    const auto close = [&] {
        if (!batch.changes.empty()) {
            batch.number = ++lastNumber;
            emit(std::exchange(batch, Batch{run, 0, {}}));
            bytes = 0;
        }
    };
    for (Change& change : std::exchange(pending, {})) {
        bytes += change.subject->key.size() + change.value.size();
        if (bytes > kMostBytesOfABatch || batch.changes.size() >= kMostChangesOfABatch) {
            close();
        }
        batch.changes.push_back(std::move(change));
    }
    close();
    flushed();
}

}  // namespace vantry::bridge
